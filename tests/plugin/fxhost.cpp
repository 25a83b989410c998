#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "cli/errors.h"
#include "cli/key_color.h"
#include "cli/setting_options.h"
#include "imaging/convert/convert.h"
#include "imaging/sample.h"
#include "tests/plugin/host.h"

namespace veltrane::testing {
namespace {

/// What the filter makes of a frame.
media::Frame Rendered(const Settings& settings, const media::Frame& source) {
    const std::unique_ptr<FxHost> host = FxHost::Load(VELTRANE_BUNDLE);
    if (!host || !host->AddParameters())
        throw std::runtime_error(VELTRANE_BUNDLE " holds no filter that can be used");
    host->Use(settings);
    const std::ptrdiff_t pixels = std::ssize(source.pixels) / kElements;
    HostPicture input{std::size_t(source.width), std::size_t(source.height),
                      std::vector<float>(source.pixels.size())};
    PixelWriter<float>({PixelOrder::kArgb})(source.pixels.data(), input.pixels.data(), pixels);
    HostPicture output = input;
    if (!host->Render(input, output)) throw std::runtime_error("the filter did not render");
    media::Frame result = source;
    PixelReader<float>({PixelOrder::kArgb})(output.pixels.data(), result.pixels.data(), pixels);
    return result;
}

void Key(const std::string& input, const std::string& output, const cli::SettingOptions& options) {
    Settings settings = options.Apply({});
    const std::string& color = options.keyColor();
    const cli::KeyColorRequest request = cli::ParseKeyColor(color.empty() ? "auto" : color);
    std::error_code ignored;
    if (std::filesystem::equivalent(input, output, ignored))
        throw cli::UsageError(output + " is the input itself; give the output another name");
    const std::unique_ptr<media::Reader> reader = media::Open(input);
    if (reader->info().kind != media::Kind::Still)
        throw cli::UsageError(input + " is not a still, and one still is rendered");
    const media::WriteOptions write{.opaque = IsOpaque(settings.view)};
    const auto writer = media::Create(output, write, reader->info());
    const media::Frame source = reader->Decode(*reader->Fetch());
    settings.keyColor =
        cli::Resolve(request, {Screen::Green, std::nullopt}, source, input, {}).color;
    writer->Append(*writer->Encode(Rendered(settings, source), source));
    writer->Finish();
}

int Complain(int status, std::string message) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::fprintf(stderr, "veltrane-fxhost: %s\n", message.c_str());
    return status;
}

int Main(int count, char** arguments) {
    CLI::App app("Renders a still through the Veltrane filter as an FxPlug host does.",
                 "veltrane-fxhost");
    std::string input, output;
    cli::SettingOptions settings;
    app.add_option("INPUT", input, "A still.")->required();
    app.add_option("OUTPUT", output, "The still to write, such as keyed.png.")->required();
    settings.AddTo(app);
    try {
        app.parse(count, arguments);
        Key(input, output, settings);
        return 0;
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::Error& error) {
        return Complain(2, std::string(error.what()) + "; see --help");
    } catch (const cli::UsageError& error) {
        return Complain(2, error.what());
    } catch (const std::exception& error) {
        return Complain(1, error.what());
    }
}

}  // namespace
}  // namespace veltrane::testing

int main(int count, char** arguments) {
    return veltrane::testing::Main(count, arguments);
}
