#include "media/image_library.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <sys/mman.h>
#include <unistd.h>

#include <mutex>

#include "media/exr_layout.h"
#include "media/file_bytes.h"
#include "media/image_integrity.h"
#include "media/pixel_memory.h"
#include "media/source_details.h"

namespace veltrane::media {
namespace {

/// Tells the library that frames are converted side by side, so that it needs no threads itself.
void Prepare() {
    static std::once_flag once;
    std::call_once(once, [] {
        OIIO::attribute("threads", 1);
        OIIO::attribute("exr_threads", -1);
        OIIO::attribute("debug", 0);  // else it writes to the standard error stream
    });
}

/// What went wrong last, on one line without the path, or `otherwise`.
std::string ErrorText(std::string text, const std::string& path, const std::string& otherwise) {
    text = text.substr(0, text.find('\n'));
    for (const std::string& name : {"\"" + path + "\"", path}) {
        for (std::size_t at; (at = text.find(name)) != std::string::npos;)
            text.erase(at, name.size());
    }
    const std::size_t begin = text.find_first_not_of(" :");
    return begin == std::string::npos ? otherwise : text.substr(begin);
}

std::unique_ptr<OIIO::ImageInput> Opened(const std::string& path, const std::string& format) {
    Prepare();
    auto input = OIIO::ImageInput::create(format);
    if (!input) Fail(path, ErrorText(OIIO::geterror(), path, "is no image"));
    OIIO::ImageSpec config, opened;
    config.attribute("oiio:UnassociatedAlpha", 1);
    if (!input->open(path, opened, config)) {
        Fail(path, ErrorText(input->geterror(), path, "cannot be read"));
    }
    return input;
}

void CheckSpec(const std::string& path, const std::string& format, const OIIO::ImageSpec& spec) {
    if (spec.deep) Fail(path, "holds deep pixels, which cannot be keyed");
    CheckSize(path, spec.width, spec.height);
    CheckSize(path, spec.full_width, spec.full_height);
    if (format == "openexr") CheckExr(path, spec);
}

ImageLayout LayoutOf(const OIIO::ImageSpec& spec) {
    ImageLayout layout;
    layout.x = spec.x;
    layout.y = spec.y;
    layout.width = spec.width;
    layout.height = spec.height;
    layout.fullX = spec.full_x;
    layout.fullY = spec.full_y;
    layout.fullWidth = spec.full_width;
    layout.fullHeight = spec.full_height;
    for (int c = 0; c < spec.nchannels; ++c) {
        layout.channelNames.push_back(spec.channel_name(c));
        layout.channelTypes.push_back(spec.channelformat(c));
    }
    layout.attributes = spec.extra_attribs;
    return layout;
}

class LibrarySource : public ImageSource {
public:
    LibrarySource(std::string path, std::string format, std::unique_ptr<OIIO::ImageInput> input)
        : ImageSource(LayoutOf(input->spec())),
          path_(std::move(path)),
          format_(std::move(format)),
          input_(std::move(input)) {}

    void Read(int first, int count, const Threads&, const TakeRows<std::uint16_t>& take) override {
        ReadAs(first, count, take);
    }
    void Read(int first, int count, const Threads&, const TakeRows<float>& take) override {
        ReadAs(first, count, take);
    }

private:
    template <typename Sample>
    void ReadAs(int first, int count, const TakeRows<Sample>& take) {
        CheckPixelData(path_, format_);
        UnsetVector<Sample> samples(std::size_t(layout_.width) * layout_.height * count);
        if (!input_->read_image(0, 0, first, first + count, OIIO::BaseTypeFromC<Sample>::value,
                                samples.data())) {
            Fail(path_, ErrorText(input_->geterror(), path_, "is damaged"));
        }
        take(0, layout_.height, samples.data());
    }

    std::string path_;
    std::string format_;
    std::unique_ptr<OIIO::ImageInput> input_;
};

OIIO::ImageSpec SpecOf(const ImageLayout& layout) {
    OIIO::ImageSpec spec(layout.width, layout.height, layout.channels(),
                         layout.channelTypes.front());
    spec.x = layout.x;
    spec.y = layout.y;
    spec.full_x = layout.fullX;
    spec.full_y = layout.fullY;
    spec.full_width = layout.fullWidth;
    spec.full_height = layout.fullHeight;
    spec.extra_attribs = layout.attributes;
    return spec;
}

std::unique_ptr<OIIO::ImageOutput> Output(const std::string& path, const std::string& format) {
    Prepare();
    auto output = OIIO::ImageOutput::create(format);
    if (!output) Fail(path, ErrorText(OIIO::geterror(), path, "cannot be written"));
    return output;
}

/// The TIFF library reads what it has written, so it needs a file, though one without a name will
/// do.
Bytes EncodedTiff(const std::string& path, const ImageLayout& layout, OIIO::TypeDesc type,
                  const void* samples) {
    const int memory = ::memfd_create("veltrane", MFD_CLOEXEC);
    if (memory < 0) Fail(path, kTooLittleMemory);
    const std::string name = "/proc/self/fd/" + std::to_string(memory);
    const auto output = Output(path, "tiff");
    const bool encoded =
        output->open(name, SpecOf(layout)) && output->write_image(type, samples) && output->close();
    Bytes bytes = encoded ? ReadAll(name) : Bytes();
    ::close(memory);
    if (!encoded) Fail(path, "cannot be written: memory for it has run out");
    return bytes;
}

}  // namespace

std::unique_ptr<ImageSource> OpenByLibrary(const std::string& path, const std::string& format) {
    auto input = Opened(path, format);
    CheckSpec(path, format, input->spec());
    return std::make_unique<LibrarySource>(path, format, std::move(input));
}

Bytes EncodeByLibrary(const std::string& path, const std::string& format, const ImageLayout& layout,
                      OIIO::TypeDesc type, const void* samples) {
    if (format == "tiff") return EncodedTiff(path, layout, type, samples);
    OIIO::Filesystem::IOVecOutput memory;
    const auto output = Output(path, format);
    output->set_ioproxy(&memory);
    if (!output->open(path, SpecOf(layout)) || !output->write_image(type, samples) ||
        !output->close()) {
        Fail(path, ErrorText(output->geterror(), path, "cannot be encoded"));
    }
    return {memory.buffer().begin(), memory.buffer().end()};
}

}  // namespace veltrane::media
