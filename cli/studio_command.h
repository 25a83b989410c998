#ifndef VELTRANE_CLI_STUDIO_COMMAND_H
#define VELTRANE_CLI_STUDIO_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>

namespace veltrane::cli {

/// `veltrane studio`: a page in the browser in which a shot is keyed by eye.
class StudioCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run() const;
    std::string Root() const;

    std::string shot_;
    std::string preset_;
    std::string root_;
    std::string port_;
    bool noBrowser_ = false;
    int threads_ = 0;
    std::string cpu_;
};

}  // namespace veltrane::cli

#endif
