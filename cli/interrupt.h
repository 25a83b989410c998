#ifndef VELTRANE_CLI_INTERRUPT_H
#define VELTRANE_CLI_INTERRUPT_H

namespace veltrane::cli {

/// From now on the first SIGINT or SIGTERM only asks for an orderly stop, and a second one ends the
/// process at once. A signal that the parent chose to ignore stays ignored.
void WatchForInterrupts();

/// Throws Interruption once a stop has been asked for.
void ThrowIfInterrupted();

}  // namespace veltrane::cli

#endif
