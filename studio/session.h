#ifndef VELTRANE_STUDIO_SESSION_H
#define VELTRANE_STUDIO_SESSION_H

#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "studio/command_line.h"
#include "studio/events.h"
#include "studio/json.h"
#include "studio/keyed_frame.h"
#include "studio/render_queue.h"
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
    HttpResponse Probe(const Json& request);
    HttpResponse Histogram(const Json& request);
    HttpResponse Pick(const Json& request);
    HttpResponse SaveWork(const Json& request);
    HttpResponse LoadPreset(const Json& request);
    HttpResponse SavePreset(const Json& request);
    HttpResponse LoadMatte(const Json& request);
    HttpResponse SaveMatte(const Json& request);
    HttpResponse SavePlate(const Json& request);
    HttpResponse Command(const Json& request);
    HttpResponse AddRender(const Json& request);
    HttpResponse CancelRender(const Json& request);
    HttpResponse Renders(const Json& request);
    HttpResponse Status(const Json& request);
    HttpResponse Events(const Json& request);

    /// As the page gets it; toWork with the work on it, else only to be looked at.
    Json Opened(const std::string& name, bool toWork);
    void AddWork(Json& json, const Shot& shot) const;
    /// Where to begin: the preset named at the start or, before there is work, what is found.
    void AddTuning(Json& json, Shot& shot) const;
    FrameWish WishOf(const Json& request);
    /// What the command is to do; drawn mattes are written to files that begin so.
    KeyCall CallOf(const Json& request, const std::string& drawings);
    void Tell(const Render& render);
    std::shared_ptr<Shot> ShotOf(const Json& request);
    std::shared_ptr<Shot> OpenShot(const std::string& name, bool anew = false);

    Start start_;
    RootFolder root_;
    Kept kept_;
    FrameService service_;
    EventHub events_;
    RenderQueue renders_;
    Json parameters_;
    std::string firstShot_;  ///< named when the studio was started, or empty

    std::mutex saving_;  ///< held while work is compared and written

    /// A shot that is open, or being opened.
    struct OpenedShot {
        std::string name;
        std::shared_future<std::shared_ptr<Shot>> shot;
    };
    std::mutex opening_;
    std::list<OpenedShot> shots_;  ///< the last used first
};

}  // namespace veltrane::studio

#endif
