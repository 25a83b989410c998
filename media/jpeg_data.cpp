#include "media/jpeg_data.h"

// The library's headers need it before them.
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

#include <algorithm>
#include <csetjmp>
#include <new>
#include <utility>

namespace veltrane::media {
namespace {

/// Decodes for what the library says alone. It leaves its functions by a jump, so each call of it
/// stands in a function of its own that holds nothing to be destroyed.
class JpegCheck {
public:
    JpegCheck() {
        decoding_.err = jpeg_std_error(&errors_);
        decoding_.client_data = this;
        errors_.error_exit = &Leave;
        errors_.emit_message = &Hear;
        jpeg_create_decompress(&decoding_);
    }
    ~JpegCheck() { jpeg_destroy_decompress(&decoding_); }
    JpegCheck(const JpegCheck&) = delete;
    JpegCheck& operator=(const JpegCheck&) = delete;

    /// How many samples a row has; 0 where it cannot begin.
    std::size_t Begin(const Bytes& file) {
        if (setjmp(jump_)) return 0;
        jpeg_mem_src(&decoding_, file.data(), file.size());
        jpeg_read_header(&decoding_, TRUE);
        decoding_.out_color_space = decoding_.jpeg_color_space;
        decoding_.do_fancy_upsampling = FALSE;
        decoding_.dct_method = JDCT_IFAST;
        jpeg_start_decompress(&decoding_);
        return std::size_t{decoding_.output_width} * decoding_.output_components;
    }

    bool Decode(JSAMPROW row) {
        if (setjmp(jump_)) return false;
        while (decoding_.output_scanline < decoding_.output_height && !damaged_) {
            jpeg_read_scanlines(&decoding_, &row, 1);
        }
        if (!damaged_) jpeg_finish_decompress(&decoding_);
        return !damaged_;
    }

    bool lackedMemory() const { return errors_.msg_code == JERR_OUT_OF_MEMORY; }

private:
    static JpegCheck& Self(j_common_ptr decoding) {
        return *static_cast<JpegCheck*>(decoding->client_data);
    }
    [[noreturn]] static void Leave(j_common_ptr decoding) { std::longjmp(Self(decoding).jump_, 1); }
    /// Cameras leave some bytes before a marker; more of them are what damaged codes left over.
    static void Hear(j_common_ptr decoding, int level) {
        constexpr int kMostLeftOver = 8;
        constexpr int kDamage[] = {JWRN_HIT_MARKER,  JWRN_HUFF_BAD_CODE, JWRN_ARITH_BAD_CODE,
                                   JWRN_MUST_RESYNC, JWRN_JPEG_EOF,      JWRN_NOT_SEQUENTIAL};
        if (level >= 0) return;
        const jpeg_error_mgr& error = *decoding->err;
        const bool leftOver =
            error.msg_code == JWRN_EXTRANEOUS_DATA && error.msg_parm.i[0] > kMostLeftOver;
        const bool damage =
            std::find(std::begin(kDamage), std::end(kDamage), error.msg_code) != std::end(kDamage);
        Self(decoding).damaged_ |= leftOver || damage;
    }

    jpeg_decompress_struct decoding_{};
    jpeg_error_mgr errors_{};
    std::jmp_buf jump_;
    bool damaged_ = false;
};

}  // namespace

bool IsWholeJpeg(const Bytes& file) {
    JpegCheck check;
    Bytes row(check.Begin(file));
    const bool whole = !row.empty() && check.Decode(row.data());
    if (!whole && check.lackedMemory()) throw std::bad_alloc();
    return whole;
}

}  // namespace veltrane::media
