/// @file
/// Model files. The reading runs in a child process with limits on memory and time, so that a damaged file
/// costs one line and never the render.
#pragma once

#include "host/failure.hpp"
#include "host/models/model.hpp"

#include <filesystem>

namespace host
{

struct import_limits
{
    uint64_t memory_bytes = 4ull << 30; ///< of the child
    double seconds = 300;
};

struct import_request
{
    std::filesystem::path file;
    double metres_per_unit = 0; ///< 0: the format's own
    char up = 0;                ///< 'x', 'y' or 'z'; 0: the format's own
    import_limits limits;
    std::filesystem::path program; ///< this program, to run as the child; empty: /proc/self/exe
};

/// Reads a model into metres with z up. Throws `failure`: file missing (3), damaged, unknown or beyond a
/// limit (2), stopped by a signal (130 or 143).
model import_model(const import_request& request);

/// Whether files with this extension, such as ".glb", are read as models.
bool is_model_extension(const std::string& extension);

/// The child's side: arguments file, metres per unit, up axis ("-" for none) and the answer's file
/// descriptor. Returns the exit code of the process.
int run_import_child(int argument_count, char** arguments);

/// Reads a model in this process; `refusal` says why when the result is false. Used by the child.
bool read_model_file(const import_request& request, model& m, std::string& refusal);

/// The hidden first argument that makes this program a child.
inline constexpr char import_child_command[] = "import-model";

} // namespace host
