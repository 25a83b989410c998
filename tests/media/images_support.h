#ifndef VELTRANE_TESTS_MEDIA_IMAGES_SUPPORT_H
#define VELTRANE_TESTS_MEDIA_IMAGES_SUPPORT_H

#include <OpenImageIO/imageio.h>

#include "media_support.h"

namespace veltrane::media {

using OIIO::ImageSpec;
using OIIO::TypeDesc;

/// Files of the image library.
class ImagesTest : public MediaTest {
protected:
    /// Writes a file by the image library alone, so that what it holds is known.
    template <typename Sample>
    void Store(const std::string& name, const ImageSpec& spec, const std::vector<Sample>& samples) {
        const auto output = OIIO::ImageOutput::create(name);
        ASSERT_TRUE(output && output->open(Path(name), spec)) << OIIO::geterror();
        ASSERT_TRUE(output->write_image(OIIO::BaseTypeFromC<Sample>::value, samples.data()));
        ASSERT_TRUE(output->close());
    }

    ImageSpec SpecOf(const std::string& name) { return OIIO::ImageInput::open(Path(name))->spec(); }

    /// Reads one by the image library alone.
    std::vector<float> Stored(const std::string& name) {
        ImageSpec asStored;
        asStored.attribute("oiio:UnassociatedAlpha", 1);
        const auto input = OIIO::ImageInput::open(Path(name), &asStored);
        std::vector<float> samples(input->spec().image_pixels() * input->spec().nchannels);
        EXPECT_TRUE(input->read_image(0, 0, 0, -1, TypeDesc::FLOAT, samples.data()));
        return samples;
    }

    /// Every sample must be what the image library finds in the file.
    void ExpectAsStored(const std::string& name, const Pixels& pixels) {
        const std::vector<float> stored = Stored(name);
        const std::size_t channels = stored.size() / (pixels.size() / 4);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const float* pixel = &stored[i / 4 * channels];
            const float alpha = channels % 2 == 0 ? pixel[channels - 1] : 1;
            const float expected = i % 4 == 3 ? alpha : pixel[channels < 3 ? 0 : 2 - i % 4];
            ASSERT_EQ(pixels[i], std::lround(expected * 65535)) << name << i;
        }
    }
};

}  // namespace veltrane::media

#endif
