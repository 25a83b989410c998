#ifndef VELTRANE_CLI_BATCH_COMMAND_H
#define VELTRANE_CLI_BATCH_COMMAND_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/shot_list.h"

namespace veltrane::cli {

/// `veltrane batch`: many shots, one after the other.
class BatchCommand {
public:
    void AddTo(CLI::App& app);

private:
    struct Result;

    void Run() const;
    Result KeyOne(const Shot& shot) const;
    void Finish(const std::vector<Result>& results) const;

    std::string source_;
    std::string output_;
    std::string extension_;
    std::string preset_;
    std::vector<std::string> further_;
    bool json_ = false;
};

}  // namespace veltrane::cli

#endif
