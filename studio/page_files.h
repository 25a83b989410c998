#ifndef VELTRANE_STUDIO_PAGE_FILES_H
#define VELTRANE_STUDIO_PAGE_FILES_H

#include <span>
#include <string_view>

namespace veltrane::studio {

/// A file of the page, as it lies in studio/page.
struct PageFile {
    std::string_view name;
    std::string_view content;
};

/// All of them, built into the program.
std::span<const PageFile> PageFiles();

}  // namespace veltrane::studio

#endif
