#include "media/png_reader.h"

#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

#include "media/fail.h"

namespace veltrane::media {

// The library leaves its functions by a jump, so each call of it stands in a function of its own
// that holds nothing to be destroyed.

void PngReader::KeepError(png_structp png, const char* message) {
    auto* self = static_cast<PngReader*>(png_get_error_ptr(png));
    std::snprintf(self->message_, sizeof self->message_, "%s", message);
    png_longjmp(png, 1);
}

void PngReader::Supply(png_structp png, png_bytep to, std::size_t count) {
    auto* self = static_cast<PngReader*>(png_get_io_ptr(png));
    if (self->file_.size() - self->at_ < count) png_error(png, "breaks off before its end");
    std::memcpy(to, self->file_.data() + self->at_, count);
    self->at_ += count;
}

PngReader::PngReader(std::string path, const Bytes& file) : path_(std::move(path)), file_(file) {
    const auto ignore = [](png_structp, const char*) {};
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, &KeepError, ignore);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
    if (info_ && ReadHeader()) return;
    const bool damaged = info_ != nullptr;
    png_destroy_read_struct(&png_, &info_, nullptr);
    if (!damaged) throw std::bad_alloc();
    FailDamaged();
}

PngReader::~PngReader() {
    png_destroy_read_struct(&png_, &info_, nullptr);
}

void PngReader::FailDamaged() const {
    Fail(path_, std::string("is damaged: ") + message_);
}

bool PngReader::ReadHeader() {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_set_read_fn(png_, this, &Supply);
    png_read_info(png_, info_);
    bits_ = png_get_bit_depth(png_, info_) == 16 ? 16 : 8;
    const bool palette = png_get_color_type(png_, info_) == PNG_COLOR_TYPE_PALETTE;
    plain_ = png_get_bit_depth(png_, info_) >= 8 && !palette &&
             !png_get_valid(png_, info_, PNG_INFO_tRNS) &&
             png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE;
    png_set_expand(png_);
    png_set_expand_16(png_);
    if (std::endian::native == std::endian::little) png_set_swap(png_);
    png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    return true;
}

bool PngReader::ReadRows(png_bytepp rows) {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_read_image(png_, rows);
    png_read_end(png_, nullptr);
    return true;
}

void PngReader::Read(std::uint16_t* samples) {
    const std::size_t rowBytes = png_get_rowbytes(png_, info_);
    std::vector<png_bytep> rows(png_get_image_height(png_, info_));
    for (std::size_t y = 0; y < rows.size(); ++y) {
        rows[y] = reinterpret_cast<png_bytep>(samples) + rowBytes * y;
    }
    if (!ReadRows(rows.data())) FailDamaged();
}

}  // namespace veltrane::media
