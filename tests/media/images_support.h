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

    /// Reads one by the image library alone.
    std::vector<float> Stored(const std::string& name) {
        ImageSpec asStored;
        asStored.attribute("oiio:UnassociatedAlpha", 1);
        const auto input = OIIO::ImageInput::open(Path(name), &asStored);
        std::vector<float> samples(input->spec().image_pixels() * input->spec().nchannels);
        EXPECT_TRUE(input->read_image(0, 0, 0, -1, TypeDesc::FLOAT, samples.data()));
        return samples;
    }
};

}  // namespace veltrane::media

#endif
