#include "cli/contact_sheet.h"

#include <algorithm>

#include "cli/composite.h"

namespace veltrane::cli {

namespace {

constexpr int kGap = 8;
constexpr int kSquare = 12;

using Row = std::vector<media::Frame>;

/// The whole factor by which pictures of this width shrink for so many to fit side by side.
int FactorFor(int width, int pictures, int widest) {
    const int each = (widest - kGap * (pictures + 1)) / pictures;
    return std::max(1, (width + each - 1) / each);
}

media::Frame OnCheckerboard(const media::Frame& result, int factor) {
    return Over(result, Checkerboard(result.width, result.height, kSquare * factor));
}

void Paste(media::Frame& sheet, const media::Frame& picture, int left, int top) {
    for (int y = 0; y < picture.height; ++y) {
        const auto row = picture.pixels.begin() + std::ptrdiff_t{4} * y * picture.width;
        std::copy_n(row, std::ptrdiff_t{4} * picture.width,
                    sheet.pixels.begin() +
                        std::ptrdiff_t{4} * (std::ptrdiff_t{top + y} * sheet.width + left));
    }
}

/// All pictures have one size.
media::Frame Arrange(const std::vector<Row>& rows, int factor) {
    const int width = rows[0][0].width / factor;
    const int height = rows[0][0].height / factor;
    const int columns = static_cast<int>(rows[0].size());
    media::Frame sheet =
        PlainPicture(kGap + columns * (width + kGap),
                     kGap + static_cast<int>(rows.size()) * (height + kGap), {0.13, 0.13, 0.14});
    int top = kGap;
    for (const Row& row : rows) {
        int left = kGap;
        for (const media::Frame& picture : row) {
            Paste(sheet, Reduced(picture, factor), left, top);
            left += width + kGap;
        }
        top += height + kGap;
    }
    return sheet;
}

}  // namespace

media::Frame ContactSheet(const std::vector<Comparison>& rows, const media::Frame& background) {
    std::vector<Row> pictures;
    for (const auto& [source, plain, found] : rows)
        pictures.push_back({source, plain.status, found.status, Over(plain.result, background),
                            Over(found.result, background)});
    return Arrange(pictures, FactorFor(background.width, 5, 2000));
}

media::Frame Strip(const media::Frame& source, const media::Frame& result) {
    const int factor = FactorFor(source.width, 3, 1400);
    return Arrange({{source, MattePicture(result), OnCheckerboard(result, factor)}}, factor);
}

}  // namespace veltrane::cli
