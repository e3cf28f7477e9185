/// @file
/// The operating system's version word.
#pragma once

#include <stdint.h>

namespace zr::platform
{

/// Its top two bits are the platform: 0 takes wide characters in all calls, 2 is refused by the library.
uint32_t system_version_word();

/// Makes system_version_word() answer `word`; null asks the system again. For tests.
void override_system_version_word(const uint32_t* word);

} // namespace zr::platform
