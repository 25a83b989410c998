#ifndef VELTRANE_STUDIO_STUDIO_H
#define VELTRANE_STUDIO_STUDIO_H

#include <functional>
#include <string>

#include "files/unfinished.h"
#include "imaging/cpu/cpu.h"

namespace veltrane::studio {

/// What `veltrane studio` was asked for.
struct Start {
    std::string shot;    ///< a still, sequence or video within the root; may be empty
    std::string preset;  ///< the settings that shots open with; may be empty
    std::string root;    ///< the folder beyond which nothing is read or written
    int port = 0;        ///< 0 for any free one
    bool browser = true;
    int threads = 1;
    std::string version;
    CpuLevel cpu = CpuLevel::Plain;
    /// Called some times a second; throws to end the studio.
    std::function<void()> checkStop;
};

/// Prints the studio's address, opens it in the browser and serves it until checkStop throws.
/// Throws media::Error for a shot or root that cannot be read and std::runtime_error where the port
/// is taken.
void Run(const Start& start);

/// What the module hands out.
struct Backend {
    decltype(&Run) run;
    decltype(&files::Unfinished::Share) shareUnfinished;
};

extern "C" const Backend veltraneStudio;

}  // namespace veltrane::studio

#endif
