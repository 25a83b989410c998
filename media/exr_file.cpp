#include "media/exr_file.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "media/source_details.h"
#include "media/zlib_data.h"

namespace veltrane::media {
namespace {

bool IsSide(std::int64_t side) {
    return side >= 1 && side <= kLongestSide;
}

bool IsFrame(const exr_attr_box2i_t& box) {
    return IsSide(std::int64_t{box.max.x} - box.min.x + 1) &&
           IsSide(std::int64_t{box.max.y} - box.min.y + 1);
}

bool IsPlain(const exr_attr_chlist_entry_t& channel) {
    const bool floating =
        channel.pixel_type == EXR_PIXEL_HALF || channel.pixel_type == EXR_PIXEL_FLOAT;
    return floating && channel.x_sampling == 1 && channel.y_sampling == 1;
}

/// Channels stand in the order of their names. False for those that are no plain colour.
bool FindChannels(const exr_attr_chlist_t& channels, ExrLayout& layout) {
    std::string names;
    for (int c = 0; c < channels.num_channels; ++c) {
        const exr_attr_chlist_entry_t& channel = channels.entries[c];
        if (!IsPlain(channel) || channel.pixel_type != channels.entries[0].pixel_type) return false;
        names += channel.name.str;
    }
    const int count = channels.num_channels;
    const bool grey = names == "AY" || names == "Y", alpha = names == "ABGR" || names == "AY";
    if (!grey && names != "ABGR" && names != "BGR") return false;
    if (static_cast<int>(names.size()) != count) return false;
    layout.half = channels.entries[0].pixel_type == EXR_PIXEL_HALF;
    layout.channels = count;
    layout.alpha = alpha ? 0 : -1;
    layout.red = count - 1;
    layout.green = grey ? layout.red : count - 2;
    layout.blue = grey ? layout.red : count - 3;
    return true;
}

bool IsPlainPicture(exr_const_context_t file) {
    std::int32_t count = 0;
    exr_get_attribute_count(file, 0, &count);
    for (int i = 0; i < count; ++i) {
        const exr_attribute_t* attribute = nullptr;
        exr_get_attribute_by_index(file, 0, EXR_ATTR_LIST_FILE_ORDER, i, &attribute);
        const std::string_view name = attribute ? attribute->name : "";
        if (name == "Orientation" || name == "envmap") return false;
    }
    return true;
}

/// Each chunk takes its place in the file's table, its own header and a byte at least.
bool FitsInto(const ExrLayout& layout, std::uint64_t size) {
    constexpr std::uint64_t kLeastChunk = 8 + 8 + 1, kMostRleExpansion = 64;
    if (std::uint64_t(layout.chunks()) * kLeastChunk > size) return false;
    const std::uint64_t bytes =
        std::uint64_t(layout.width()) * layout.height() * layout.channels * (layout.half ? 2 : 4);
    std::uint64_t most = kMostZlibExpansion;
    if (layout.compression == EXR_COMPRESSION_NONE) most = 1;
    if (layout.compression == EXR_COMPRESSION_RLE) most = kMostRleExpansion;
    return bytes / most <= size;
}

std::uint64_t SizeOf(exr_const_context_t file) {
    const char* path = "";
    exr_get_file_name(file, &path);
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

}  // namespace

exr_context_initializer_t ExrStart() {
    exr_context_initializer_t start = EXR_DEFAULT_CONTEXT_INITIALIZER;
    start.error_handler_fn = [](exr_const_context_t, exr_result_t, const char*) {};
    return start;
}

ExrFile::ExrFile(const std::string& path) {
    const exr_context_initializer_t start = ExrStart();
    if (exr_start_read(&file_, path.c_str(), &start) != EXR_ERR_SUCCESS) file_ = nullptr;
}

ExrFile::~ExrFile() {
    if (file_) exr_finish(&file_);
}

std::optional<ExrLayout> ExrFile::Layout() const {
    if (!file_) return std::nullopt;
    ExrLayout layout{};
    int parts = 0;
    exr_storage_t storage = EXR_STORAGE_LAST_TYPE;
    const exr_attr_chlist_t* channels = nullptr;
    const bool read = exr_get_count(file_, &parts) == EXR_ERR_SUCCESS &&
                      exr_get_storage(file_, 0, &storage) == EXR_ERR_SUCCESS &&
                      exr_get_channels(file_, 0, &channels) == EXR_ERR_SUCCESS &&
                      exr_get_compression(file_, 0, &layout.compression) == EXR_ERR_SUCCESS &&
                      exr_get_data_window(file_, 0, &layout.data) == EXR_ERR_SUCCESS &&
                      exr_get_display_window(file_, 0, &layout.display) == EXR_ERR_SUCCESS;
    if (!read || parts != 1 || storage != EXR_STORAGE_SCANLINE) return std::nullopt;
    if (layout.compression > EXR_COMPRESSION_ZIP) return std::nullopt;
    layout.rowsAChunk = layout.compression == EXR_COMPRESSION_ZIP ? 16 : 1;
    if (!IsFrame(layout.data) || !IsFrame(layout.display)) return std::nullopt;
    if (!FindChannels(*channels, layout) || !IsPlainPicture(file_)) return std::nullopt;
    if (!FitsInto(layout, SizeOf(file_))) return std::nullopt;
    return layout;
}

}  // namespace veltrane::media
