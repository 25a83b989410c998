#ifndef VELTRANE_CLI_DEMO_H
#define VELTRANE_CLI_DEMO_H

#include <CLI/CLI.hpp>
#include <string>

#include "media/media.h"

namespace veltrane::cli {

/// `veltrane demo`: keys the sample clip and leaves pictures and videos to look at.
class DemoCommand {
public:
    void AddTo(CLI::App& app);

private:
    void CheckPlaces(const std::string& sample, const media::Info& info) const;

    void Run() const;

    std::string folder_ = "demo-out";
    std::string sample_;
    std::string strip_;
    int threads_ = 0;
    std::string cpu_;
};

}  // namespace veltrane::cli

#endif
