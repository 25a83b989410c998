#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "media/media.h"
#include "studio/region.h"
#include "studio/session.h"
#include "studio/shot_json.h"

namespace veltrane::studio {

namespace {

constexpr int kBadRequest = 400;

/// The square that the command takes the mean of.
Region AroundSpot(const Region& spot) {
    return {spot.x - cli::kSampleSide / 2, spot.y - cli::kSampleSide / 2, cli::kSampleSide,
            cli::kSampleSide};
}

Color ColorOf(const RegionValues& values) {
    constexpr double kFull = 65535;
    return {values.mean[0] / kFull, values.mean[1] / kFull, values.mean[2] / kFull};
}

Json PickJson(const cli::KeyColor& key, const std::optional<RegionValues>& values) {
    const std::string hex = HexText(key.color), screen = cli::ScreenName(key.screen);
    constexpr double kFull = 65535;
    Json json{{"hex", hex}, {"screen", screen}, {"origin", key.origin}};
    for (const double part : {key.color.red, key.color.green, key.color.blue})
        json["color"].push_back(std::lround(part * kFull));
    if (values) json["mean"] = values->mean;
    if (values) json["spread"] = values->spread;
    if (key.coverage) json["coverage"] = *key.coverage;
    json["settings"] = {{"key-color", hex}, {"screen", screen}};
    return json;
}

Json ValuesJson(const RegionValues& values) {
    return {{"mean", values.mean},
            {"least", values.least},
            {"greatest", values.greatest},
            {"spread", values.spread}};
}

RegionValues AlphaAsGrey(RegionValues values) {
    constexpr int kFull = 65535;
    for (int c = 0; c < 3; ++c) {
        values.mean[c] = values.mean[3];
        values.spread[c] = values.spread[3];
        values.least[c] = values.least[3];
        values.greatest[c] = values.greatest[3];
    }
    values.mean[3] = values.least[3] = values.greatest[3] = kFull;
    values.spread[3] = 0;
    return values;
}

std::string Fixed(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

}  // namespace

FrameWish Session::WishOf(const Json& request) {
    FrameWish wish;
    const std::int64_t generation = Integer(request, "generation", 0, INT64_MAX, 0);
    wish.ticket =
        service_.turns().Announce(Text(request, "client", ""), Text(request, "purpose", ""),
                                  static_cast<std::uint64_t>(generation));
    wish.ticket.Check();
    wish.shot = ShotOf(request);
    wish.number = Integer(request, "frame", INT64_MIN, INT64_MAX);
    Json settings = Object(request, "settings");
    if (const Json* view = Find(request, "view")) settings["view"] = *view;
    wish.settings = SettledBy(*wish.shot, ReadSettings(settings, *wish.shot));
    wish.inputs = ReadInputs(request, root_);
    return wish;
}

HttpResponse Session::Frame(const Json& request) {
    constexpr std::int64_t kMostScale = 16;
    const auto scale = static_cast<int>(Integer(request, "scale", 1, kMostScale, 1));
    const std::string channels = Text(request, "channels", "rgba");
    if (channels != "rgba" && channels != "a")
        throw Refusal(kBadRequest, "channels must be rgba or a, not " + channels);
    FrameWish wish = WishOf(request);
    wish.scale = scale;
    wish.alphaAlone = channels == "a";
    if (Find(request, "held") != nullptr)
        wish.held = static_cast<std::uint64_t>(Integer(request, "held", 0, INT64_MAX));
    FrameAnswer answer = service_.Key(wish);
    HttpResponse response{200, "application/octet-stream", std::move(answer.bytes)};
    response.headers = {{"X-Width", std::to_string(answer.width)},
                        {"X-Height", std::to_string(answer.height)},
                        {"X-Scale", std::to_string(answer.scale)},
                        {"X-Milliseconds", Fixed(answer.milliseconds)},
                        {"X-Form", std::string(CpuLevelName(CurrentCpuLevel()))},
                        {"X-Generation", std::to_string(wish.ticket.generation())},
                        {"X-Held", std::to_string(answer.held)},
                        {"X-Memory", std::to_string(kept_.used())}};
    return response;
}

/// What the source, the plate, the matte and the result are in a region.
HttpResponse Session::Probe(const Json& request) {
    FrameWish wish = WishOf(request);
    const auto source = wish.shot->frames().Get(wish.number);
    const Region region = Clipped(ReadRegion(request), source->width, source->height);
    const Band band{region.y, region.y + region.height};
    const Region inBand{region.x, 0, region.width, region.height};
    const auto measure = [&](View view) {
        wish.settings.view = view;
        return Measure(service_.KeyRows(wish, band).data(), source->width, inBand);
    };
    const RegionValues result = measure(View::Result);
    return JsonResponse(
        {{"source", ValuesJson(Measure(source->pixels.data(), source->width, region))},
         {"plate", ValuesJson(measure(View::CleanPlate))},
         {"matte", ValuesJson(AlphaAsGrey(result))},
         {"result", ValuesJson(result)}});
}

HttpResponse Session::Histogram(const Json& request) {
    constexpr std::int64_t kMostBins = 65536;
    const auto bins = static_cast<std::size_t>(Integer(request, "bins", 1, kMostBins, 256));
    FrameWish wish = WishOf(request);
    wish.settings.view = View::Result;
    wish.alphaAlone = true;
    const FrameAnswer answer = service_.Key(wish);
    const std::size_t pixels = answer.bytes.size / sizeof(std::uint16_t);
    std::vector<std::uint32_t> levels(kMostBins), counts(bins);
    for (std::size_t i = 0; i < pixels; ++i) ++levels[answer.bytes.samples[i]];
    for (std::size_t level = 0; level < levels.size(); ++level)
        counts[level * bins / levels.size()] += levels[level];
    const auto share = [&](std::uint32_t count) {
        return static_cast<double>(count) / static_cast<double>(pixels);
    };
    return JsonResponse({{"counts", counts},
                         {"zeros", share(levels.front())},
                         {"ones", share(levels.back())},
                         {"pixels", pixels}});
}

/// A colour of the source: of an area, of the small square around a spot, or of the screen.
HttpResponse Session::Pick(const Json& request) {
    const std::shared_ptr<Shot> shot = ShotOf(request);
    const std::int64_t number =
        Integer(request, "frame", INT64_MIN, INT64_MAX, shot->info().firstFrame);
    const auto frame = shot->frames().Get(number);
    if (Find(request, "x") == nullptr)
        return JsonResponse(
            PickJson(cli::Resolve(cli::FindScreen{}, {}, *frame, shot->name(), {}), {}));
    Region region = ReadRegion(request);
    const bool isSpot = region.width == 1 && region.height == 1;
    const Region spot{region.x, region.y, 1, 1};
    if (isSpot) region = AroundSpot(Clipped(spot, frame->width, frame->height));
    region = Clipped(region, frame->width, frame->height);
    const RegionValues values = Measure(frame->pixels.data(), frame->width, region);
    cli::KeyColorRequest wanted = cli::SampleAt{spot.x, spot.y, number};
    if (!isSpot) wanted = ColorOf(values);
    return JsonResponse(PickJson(cli::Resolve(wanted, {}, *frame, shot->name(), {}), values));
}

}  // namespace veltrane::studio
