#ifndef VELTRANE_HOSTS_OFX_DESCRIBE_H
#define VELTRANE_HOSTS_OFX_DESCRIBE_H

#include <string_view>

#include "hosts/ofx/abi.h"

namespace veltrane::ofx {

/// A new major version is another effect to hosts; a new minor one replaces the older.
inline constexpr int kMajorVersion = 1;
inline constexpr int kMinorVersion = 0;

/// What the effect is and supports.
void Describe(Effect descriptor);

/// The effect's clips and parameters; mattes and the clean plate in the general context only.
void DescribeInContext(Effect descriptor, std::string_view context);

}  // namespace veltrane::ofx

#endif
