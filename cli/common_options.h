#ifndef VELTRANE_CLI_COMMON_OPTIONS_H
#define VELTRANE_CLI_COMMON_OPTIONS_H

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "media/media.h"

namespace veltrane::cli {

/// --transfer, for every command that reads frames.
void AddTransferOption(CLI::App& command, media::Transfer& transfer);

/// --colorspace, --key-space and --ocio, for every command that reads frames.
void AddColorSpaceOptions(CLI::App& command, media::ColorSpaces& spaces);

/// The conversion that they name, or null without --colorspace; spaces receives the config that is
/// used. Throws UsageError for options that do not go together, and media::Error.
std::shared_ptr<const media::ColorConversion> OpenSpaces(media::ColorSpaces& spaces,
                                                         media::Transfer transfer);

/// --threads, by default all cores.
void AddThreadsOption(CLI::App& command, int& threads);

/// --cpu, for commands that key.
void AddCpuOption(CLI::App& command, std::string& cpu);

/// Makes the keyer use the instruction set of that option, or when it is empty that of the
/// environment variable VELTRANE_CPU, or the best. Throws UsageError for one that is not here.
void UseCpu(const std::string& cpu);

/// An option that tells how colour is stored beside alpha.
void AddAlphaOption(CLI::App& command, const std::string& name, media::Association& association,
                    const std::string& help);

/// --compression, of images that are written.
void AddCompressionOption(CLI::App& command, media::Compression& compression);

/// Reads a frame rate such as "25", "23.976" or "30000/1001". Throws UsageError for anything else.
media::Rational ParseRate(const std::string& text);

/// Reads "A-B", "A" or "A-" for all from A on. Throws UsageError for anything else.
media::FrameRange ParseFrameRange(const std::string& text);

/// A line on standard error, shortened to kLongestLine.
void Say(const std::string& line);

}  // namespace veltrane::cli

#endif
