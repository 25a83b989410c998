#ifndef VELTRANE_CLI_INTERRUPT_H
#define VELTRANE_CLI_INTERRUPT_H

namespace veltrane::cli {

/// From now on the first SIGINT, SIGTERM or SIGHUP only asks for an orderly stop; where that takes
/// half a second the process removes the unfinished files and ends, with kTryAgain after SIGTERM
/// and else with kInterrupted. A second
/// one, and every other signal that ends the process and can be caught, first removes the
/// unfinished files. A file that outgrows its limit is an error like a full disk, not a signal.
/// Signals that the parent chose to ignore stay ignored.
void WatchForInterrupts();

/// Throws Interruption once a stop has been asked for.
void ThrowIfInterrupted();

}  // namespace veltrane::cli

#endif
