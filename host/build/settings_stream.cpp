#include "host/build/settings_stream.hpp"

#include "host/failure.hpp"
#include "host/library_session.hpp"
#include "zirconlite/frame/error.h"

#include <fmt/format.h>

#include <cstdio>
#include <memory>

#include <unistd.h>

namespace host
{

namespace
{

struct file_closer
{
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using owned_file = std::unique_ptr<std::FILE, file_closer>;

bool read_body(int kind, std::FILE* stream, document* d, render_view& view);
bool write_all(int kind, std::FILE* stream, document* d, render_view& view);

} // namespace

int read_settings(const std::filesystem::path& file, document* d, render_view& view)
{
    std::error_code error;
    if (!std::filesystem::exists(file, error))
    {
        throw failure(exit_missing_file, file.string() + ": settings file not found");
    }
    const owned_file stream(
        std::filesystem::is_regular_file(file, error) ? std::fopen(file.c_str(), "rb") : nullptr);
    if (!stream) { throw failure(exit_missing_file, file.string() + ": settings file cannot be read"); }
    const int kind = zr_read_settings_head(stream.get());
    if (!kind || !read_body(kind, stream.get(), d, view))
    {
        throw failure(exit_bad_scene, file.string() + library_error());
    }
    return kind;
}

void write_settings(const std::filesystem::path& file, int kind, document* d, render_view& view)
{
    std::filesystem::path beside = file;
    beside += fmt::format(".{}.part", ::getpid());
    bool done = false;
    if (owned_file stream{ std::fopen(beside.c_str(), "wb") })
    {
        done = write_all(kind, stream.get(), d, view);
        done = std::fclose(stream.release()) == 0 && done;
    }
    std::error_code error;
    if (done) { std::filesystem::rename(beside, file, error); }
    if (done && !error) { return; }
    std::filesystem::remove(beside, error);
    throw failure(exit_render_failed, file.string() + ": the settings cannot be written");
}

int settings_kind_of(const std::filesystem::path& file)
{
    const std::string e = file.extension().string();
    return e == ".su"   ? SETTINGS_SUN_SKY
           : e == ".en" ? SETTINGS_ENVIRONMENT
           : e == ".ex" ? SETTINGS_EXPOSURE
                        : 0;
}

namespace
{

bool read_body(int kind, std::FILE* stream, document* d, render_view& view)
{
    switch (kind)
    {
    case SETTINGS_SUN_SKY:
        return read_sunsky_config_info(stream, d);
    case SETTINGS_ENVIRONMENT:
        return zr_read_environment_config_info(stream, d);
    default:
        return read_exposure_config_info(stream, d, &view);
    }
}

bool write_all(int kind, std::FILE* stream, document* d, render_view& view)
{
    switch (kind)
    {
    case SETTINGS_SUN_SKY:
        return save_sunsky_config_info(stream, d);
    case SETTINGS_ENVIRONMENT:
        return save_environment_config_info(stream, d);
    default:
        return save_exposure_config_info(stream, d, &view);
    }
}

} // namespace

} // namespace host
