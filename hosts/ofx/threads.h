#ifndef VELTRANE_HOSTS_OFX_THREADS_H
#define VELTRANE_HOSTS_OFX_THREADS_H

#include "imaging/threads.h"

namespace veltrane::ofx {

/// The threads that the host lends to an action, never more than it offers; the action's own alone
/// where the host lends none, or where the action already runs on a thread that was lent.
Threads HostThreads();

}  // namespace veltrane::ofx

#endif
