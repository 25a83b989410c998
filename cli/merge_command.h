#ifndef VELTRANE_CLI_MERGE_COMMAND_H
#define VELTRANE_CLI_MERGE_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>

namespace veltrane::cli {

/// `veltrane merge`: puts together what the chunks of a shot made.
class MergeCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run() const;

    std::string output_;
    bool keepParts_ = false;
    bool quiet_ = false;
    bool json_ = false;
};

}  // namespace veltrane::cli

#endif
