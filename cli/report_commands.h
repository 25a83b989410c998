#ifndef VELTRANE_CLI_REPORT_COMMANDS_H
#define VELTRANE_CLI_REPORT_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>

#include "media/media.h"

namespace veltrane::cli {

/// `veltrane params`: the parameter table.
class ParamsCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run() const;

    bool json_ = false;
};

/// `veltrane info`: what a file holds.
class InfoCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run() const;

    std::string input_;
    bool json_ = false;
};

/// `veltrane pick`: a key colour from a frame.
class PickCommand {
public:
    void AddTo(CLI::App& app);

private:
    void Run();

    std::string input_;
    std::string frame_;
    std::string at_ = "auto";
    std::string screen_ = "auto";
    media::Transfer transfer_ = media::Transfer::Automatic;
    media::ColorSpaces spaces_;
    bool json_ = false;
};

}  // namespace veltrane::cli

#endif
