#ifndef VELTRANE_STUDIO_SESSION_H
#define VELTRANE_STUDIO_SESSION_H

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "studio/events.h"
#include "studio/json.h"
#include "studio/keyed_frame.h"
#include "studio/root_folder.h"
#include "studio/studio.h"

namespace veltrane::studio {

/// Answers the page's requests, by any number of threads at a time.
class Session {
public:
    /// Throws media::Error for a root that is no folder and a shot that cannot be read.
    explicit Session(const Start& start);

    /// Throws Refusal.
    HttpResponse Answer(const HttpRequest& request);

    /// Ends the streams.
    void Stop() { events_.Close(); }

private:
    using Ask = HttpResponse (Session::*)(const Json& request);

    HttpResponse Route(const HttpRequest& request);
    HttpResponse SessionInfo(const Json& request);
    HttpResponse Files(const Json& request);
    HttpResponse Open(const Json& request);
    HttpResponse Frame(const Json& request);
    HttpResponse Pick(const Json& request);
    HttpResponse Status(const Json& request);
    HttpResponse Events(const Json& request);

    Json Opened(const std::string& name);
    std::shared_ptr<Shot> ShotOf(const Json& request);
    std::shared_ptr<Shot> OpenShot(const std::string& name);

    Start start_;
    RootFolder root_;
    Kept kept_;
    FrameService service_;
    EventHub events_;
    Json parameters_;
    std::string firstShot_;  ///< named when the studio was started, or empty

    std::mutex opening_;
    std::list<std::shared_ptr<Shot>> shots_;  ///< the last used first
};

}  // namespace veltrane::studio

#endif
