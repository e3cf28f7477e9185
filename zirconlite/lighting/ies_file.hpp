/// @file
/// Readers of photometric files from text, and what they share.
#pragma once

#include <string_view>

#include "zirconlite/frame/status.hpp"
#include "zirconlite/lighting/ies_file.h"

namespace zr
{

inline constexpr uint64_t photometric_size_limit = 64u << 20; // bytes of a photometric file
inline constexpr uint64_t tilt_size_limit = 1u << 20;         // bytes of a file of tilt data
inline constexpr int32_t label_limit = 10000;

/// Reads the text of an LM-63 file into `file`, which is zeroed. A file of tilt data is looked for beside
/// `path`; with null there is none. After a failure `file` holds what was read, for free_ies_content.
status parse_lm63(std::string_view text, const char16_t* path, ies_file& file);

/// The same for the text of a EULUMDAT file.
status parse_eulumdat(std::string_view text, ies_file& file);

/// zr_open_ies_file with the failure as its result; `made` is null then.
status read_photometric_file(const char16_t* path, ies_file*& made);

/// The readers' choice by name and content. `path` as in parse_lm63.
status parse_photometric(const uint8_t* bytes, size_t size, const char16_t* path, ies_file& file);

/// Whether a name says EULUMDAT.
bool is_named_ldt(const char16_t* path);

/// Frees all that the record points to.
void free_ies_content(ies_file& file);

/// Appends a line to the labels; false when memory fails or there are too many.
bool add_label(ies_file& file, std::string_view text);

/// A copy in the library's heap, with an end mark; null when memory fails.
char* copy_of(std::string_view text);

/// The goniometry_symmetry of a table of type C, by its horizontal angles.
int32_t symmetry_of(const ies_file& file);

/// The table of a file of type A or B as one of type C, with nothing else of it. False when memory fails;
/// either way free_ies_content frees `turned`, which was zeroed.
bool turn_into_type_c(const ies_file& file, ies_file& turned);

/// What the three sizes of an LM-63 file mean.
luminous_opening opening_of(const ies_file& file);

} // namespace zr
