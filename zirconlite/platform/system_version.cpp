/// @file
/// The version word of this system.
#include "zirconlite/platform/system_version.hpp"

namespace zr::platform
{

namespace
{
/// All text goes to this system whole, so the platform bits are those of a wide-character one.
constexpr uint32_t own_word = 0x00000005;
uint32_t word = own_word;
} // namespace

uint32_t system_version_word() { return word; }

void override_system_version_word(const uint32_t* other) { word = other ? *other : own_word; }

} // namespace zr::platform
