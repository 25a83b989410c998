#include "ffmpeg_filters.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "measure.h"

namespace veltrane::bench {

namespace {

struct Deleter {
    void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(SwsContext* context) const { sws_freeContext(context); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Deleter>;

void Check(int result, const std::string& what) {
    if (result < 0) throw std::runtime_error("FFmpeg: " + what + " failed");
}

/// The widest format that chromakey takes, so that nothing is converted before it.
constexpr AVPixelFormat kFormat = AV_PIX_FMT_YUVA444P16;

Owned<AVFrame> NewFrame(const Subject& subject) {
    Owned<AVFrame> frame(av_frame_alloc());
    frame->format = kFormat;
    frame->width = subject.width;
    frame->height = subject.height;
    Check(av_frame_get_buffer(frame.get(), 0), "allocation");
    return frame;
}

Owned<AVFrame> InLumaAndChroma(const Subject& subject) {
    Owned<AVFrame> frame = NewFrame(subject);
    const Owned<SwsContext> scaler(
        sws_getContext(subject.width, subject.height, AV_PIX_FMT_BGRA64LE, subject.width,
                       subject.height, kFormat, SWS_BICUBIC, nullptr, nullptr, nullptr));
    const auto* pixels = reinterpret_cast<const std::uint8_t*>(subject.frame.data());
    const int pitch = subject.width * 8;
    Check(sws_scale(scaler.get(), &pixels, &pitch, 0, subject.height, frame->data, frame->linesize),
          "conversion");
    return frame;
}

/// A chain of filters between a source and a sink.
class Chain {
public:
    Chain(const std::string& filters, const Subject& subject);

    /// A frame that the filters may write to.
    void Prepare() {
        input_ = NewFrame(subject_);
        Check(av_frame_copy(input_.get(), picture_.get()), "copy");
    }
    void Run() {
        output_.reset(av_frame_alloc());
        Check(av_buffersrc_add_frame(source_, input_.get()), "input");
        Check(av_buffersink_get_frame(sink_, output_.get()), "output");
    }
    /// The filters with the formats in which they work.
    std::string Formats() const;

private:
    const Subject& subject_;
    Owned<AVFrame> picture_;
    Owned<AVFilterGraph> graph_;
    AVFilterContext* source_ = nullptr;
    AVFilterContext* sink_ = nullptr;
    Owned<AVFrame> input_;
    Owned<AVFrame> output_;
};

Chain::Chain(const std::string& filters, const Subject& subject)
    : subject_(subject), picture_(InLumaAndChroma(subject)), graph_(avfilter_graph_alloc()) {
    graph_->nb_threads = 1;
    const std::string shape = "width=" + std::to_string(subject.width) +
                              ":height=" + std::to_string(subject.height) +
                              ":pix_fmt=" + av_get_pix_fmt_name(kFormat) + ":time_base=1/24";
    AVFilterInOut* open = nullptr;
    AVFilterInOut* none = nullptr;
    const std::string whole = "buffer@in=" + shape + "," + filters + ",buffersink@out";
    Check(avfilter_graph_parse2(graph_.get(), whole.c_str(), &open, &none), filters);
    Check(avfilter_graph_config(graph_.get(), nullptr), filters);
    for (unsigned i = 0; i < graph_->nb_filters; ++i) {
        AVFilterContext* filter = graph_->filters[i];
        if (std::string_view(filter->name) == "buffer@in") source_ = filter;
        if (std::string_view(filter->name) == "buffersink@out") sink_ = filter;
    }
    if (!source_ || !sink_) throw std::runtime_error("FFmpeg: " + filters + " has no ends");
}

std::string Chain::Formats() const {
    std::string text;
    for (AVFilterContext* filter = source_->outputs[0]->dst; filter != sink_;
         filter = filter->outputs[0]->dst) {
        const auto format = static_cast<AVPixelFormat>(filter->inputs[0]->format);
        text += std::string(text.empty() ? "" : ", ") + filter->filter->name + " in " +
                av_get_pix_fmt_name(format);
    }
    return text;
}

}  // namespace

void RegisterFfmpegFilters(Subject& subject) {
    Settings settings;
    settings.keyColor = subject.screen;
    std::string color = HexText(subject.screen);
    color.replace(0, 1, "0x");
    const std::string chromakey = "chromakey=" + color + ":0.12:0.08";
    for (const auto& [name, filters] :
         {std::pair{"chromakey", chromakey}, {"chromakey,despill", chromakey + ",despill"}}) {
        const auto chain = std::make_shared<Chain>(filters, subject);
        Case timed;
        timed.name = std::string("ffmpeg/") + name;
        timed.work = {[chain] { chain->Prepare(); }, [chain] { chain->Run(); }};
        timed.yardstick = {[&subject] { subject.Restore(); },
                           [&subject, settings] { subject.Key(settings); }};
        timed.column = "times ours";
        timed.note = chain->Formats();
        Register(timed, {CurrentCpuLevel()});
    }
}

}  // namespace veltrane::bench
