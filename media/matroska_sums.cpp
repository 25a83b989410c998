#include "media/matroska_sums.h"

#include <isa-l/crc.h>

#include <algorithm>
#include <array>
#include <bit>

namespace veltrane::media {
namespace {

constexpr std::uint64_t kHeader = 0x1a45dfa3, kSegment = 0x18538067, kChecksum = 0xbf;
constexpr std::uint64_t kDescription = 0x1549a966, kTracks = 0x1654ae6b, kCluster = 0x1f43b675;
/// What a segment may hold besides: indices, attachments, chapters, tags, and gaps.
constexpr std::array<std::uint64_t, 7> kOthers{0x114d9b74, 0x1c53bb6b, 0x1941a469, 0x1043a770,
                                               0x1254c367, 0xec,       kChecksum};

bool BringsPictures(std::uint64_t id) {
    return id == kDescription || id == kTracks || id == kCluster;
}

}  // namespace

MatroskaSums::MatroskaSums(const std::string& path) : file_(path) {
    const std::optional<Element> header = ElementAt(0);
    std::optional<Element> segment;
    if (header && header->id == kHeader && header->size)
        segment = ElementAt(header->begin + *header->size);
    at_ = end_ = kUnknown;
    if (!segment || segment->id != kSegment || !segment->size) return;
    at_ = segment->begin;
    end_ = at_ + *segment->size;
}

/// A number of a length that its first byte tells by how many zeros it begins with. The bit behind
/// them belongs to identities, where it stays. Null where it cannot be read.
std::optional<std::uint64_t> MatroskaSums::NumberAt(std::uint64_t& place, bool marked) const {
    const std::uint64_t left = file_.size() - std::min(place, file_.size());
    std::array<std::uint8_t, 8> bytes{};
    const auto given = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), left));
    file_.Read(place, given, bytes.data());
    const auto zeros = static_cast<std::size_t>(std::countl_zero(bytes[0]));
    if (zeros >= given) return std::nullopt;
    std::uint64_t number = marked ? bytes[0] : bytes[0] & (0x7f >> zeros);
    for (std::size_t i = 1; i <= zeros; ++i) number = number << 8 | bytes[i];
    place += zeros + 1;
    return number;
}

std::optional<MatroskaSums::Element> MatroskaSums::ElementAt(std::uint64_t place) const {
    const auto id = NumberAt(place, true);
    if (!id) return std::nullopt;
    const std::uint64_t sizeAt = place;
    const auto size = NumberAt(place, false);
    if (!size) return std::nullopt;
    const bool open = *size == (std::uint64_t{1} << (7 * (place - sizeAt))) - 1;
    if (!open && *size > kUnknown - place) return std::nullopt;
    return Element{*id, place, open ? std::nullopt : size};
}

/// The checksum is that of all that follows it. Where one cluster has it, each has.
bool MatroskaSums::IsWhole(const Element& element) {
    constexpr std::size_t kBytes = 4, kOfChecksum = 2 + kBytes;
    const std::uint64_t end = element.begin + element.size.value_or(0);
    if (element.size.value_or(0) < kOfChecksum || end > file_.size()) return true;
    const std::optional<Element> first = ElementAt(element.begin);
    if (!first || first->id != kChecksum) return element.id != kCluster || !clustersHaveSums_;
    if (first->size != kBytes) return false;
    clustersHaveSums_ |= element.id == kCluster;
    std::array<std::uint8_t, kBytes> stored;
    file_.Read(first->begin, kBytes, stored.data());
    Bytes bytes(std::size_t{1} << 16);
    std::uint32_t sum = 0;
    for (std::uint64_t at = first->begin + kBytes; at < end;) {
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(end - at, bytes.size()));
        file_.Read(at, count, bytes.data());
        sum = crc32_gzip_refl(sum, bytes.data(), count);
        at += count;
    }
    for (std::size_t i = 0; i < kBytes; ++i)
        if (stored[i] != (sum >> 8 * i & 0xff)) return false;
    return true;
}

bool MatroskaSums::HoldsTo(std::uint64_t place) {
    while (at_ < std::min(place, end_)) {
        const std::optional<Element> element = ElementAt(at_);
        if (!element) return false;
        const bool pictures = BringsPictures(element->id);
        const bool known = std::find(kOthers.begin(), kOthers.end(), element->id) != kOthers.end();
        if (!pictures && !known) return false;
        // What is left open ends where the next one begins, and has no checksum.
        at_ = element->size ? element->begin + *element->size : end_;
        if (pictures && element->size && !IsWhole(*element)) return false;
    }
    return at_ <= end_;
}

}  // namespace veltrane::media
