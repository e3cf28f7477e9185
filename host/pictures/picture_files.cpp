/// @file
/// Writing goes to a temporary file in the same folder, is forced to the disk, and then takes the name.
#include "host/pictures/picture_files.hpp"

#include "host/failure.hpp"
#include "host/text.hpp"
#include "zirconlite/frame/error.h"
#include "zirconlite/imagefiles/bitmap_format.h"
#include "zirconlite/imagefiles/radiance.h"

#include <fmt/format.h>
#include <png.h>

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace host
{

namespace
{

void remove_leftovers(const std::filesystem::path& target);
std::string part_prefix(const std::filesystem::path& target);
[[noreturn]] void cannot_write(const std::filesystem::path& file, const std::string& why);

/// A file beside the target that goes away unless it takes the target's name.
struct temporary_file
{
    std::filesystem::path target, path;
    FILE* stream = nullptr;

    explicit temporary_file(const std::filesystem::path& file)
    {
        // A link keeps pointing where it did: what it names is replaced.
        std::error_code error;
        target = std::filesystem::weakly_canonical(file, error);
        if (error) { target = file; }
        remove_leftovers(target);
        static unsigned counter = 0;
        path = target.parent_path() / fmt::format("{}{}-{}.part", part_prefix(target), getpid(), ++counter);
        unlink(path.c_str()); // of an earlier process with this number
        const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor < 0)
        {
            path.clear();
            cannot_write(file, strerror(errno));
        }
        stream = fdopen(descriptor, "wb");
        if (!stream)
        {
            close(descriptor);
            unlink(path.c_str());
            cannot_write(file, strerror(errno));
        }
    }
    ~temporary_file()
    {
        if (stream) { fclose(stream); }
        if (!path.empty()) { unlink(path.c_str()); }
    }
    void take_name()
    {
        const bool written = fflush(stream) == 0 && fsync(fileno(stream)) == 0;
        const int error = errno;
        const bool closed = fclose(stream) == 0;
        stream = nullptr;
        if (!written || !closed) { cannot_write(target, strerror(written ? errno : error)); }
        if (rename(path.c_str(), target.c_str()) != 0) { cannot_write(target, strerror(errno)); }
        path.clear();
        // The name is only safe once its folder is on the disk as well; not all file systems offer it.
        const int folder = open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (folder >= 0)
        {
            (void)!fsync(folder);
            close(folder);
        }
    }
    temporary_file(const temporary_file&) = delete;
    temporary_file& operator=(const temporary_file&) = delete;
};

struct png_failure
{
    char text[200] = "the PNG writer failed";
    jmp_buf back;
};

struct format_row
{
    const char* extension;
    void (*write)(const std::filesystem::path&, const picture&); ///< null: write_radiance writes it
    bool has_grey;
};

void write_png(const std::filesystem::path& file, const picture& p);
template <uint32_t format, bool has_alpha>
void write_by_library(const std::filesystem::path& file, const picture& p);

constexpr format_row formats[] = {
    { ".png", write_png, true },
    { ".bmp", write_by_library<BITMAP_BMP, false>, false },
    { ".tga", write_by_library<BITMAP_TARGA, true>, false },
    { ".tif", write_by_library<BITMAP_TIF, true>, false },
    { ".tiff", write_by_library<BITMAP_TIFF, true>, false },
    { ".jpg", write_by_library<BITMAP_JPEG, false>, false },
    { ".jpeg", write_by_library<BITMAP_JPEG, false>, false },
    { ".hdr", nullptr, false },
};

const format_row& format_of(const std::filesystem::path& file, pixel_layout layout);
const format_row* format_named(const std::filesystem::path& file);
bool can_hold(const format_row& f, pixel_layout layout);
size_t bytes_per_pixel(pixel_layout layout);
void on_png_error(png_structp png, png_const_charp text);
void on_png_warning(png_structp, png_const_charp);
bool encode_png(FILE* stream, const picture& p, png_structp png, png_infop info, png_failure& f,
    std::vector<uint8_t>& row);
int32_t library_row_without_alpha(bitmap_format* record, line_request* request);
int32_t library_row(bitmap_format* record, line_request* request);
std::u16string target_of(const std::filesystem::path& file);

} // namespace

bool keeps_radiance(const std::filesystem::path& file)
{
    const format_row* named = format_named(file);
    return named && !named->write;
}

bool takes_grey(const std::filesystem::path& file)
{
    const format_row* named = format_named(file);
    return named && named->has_grey;
}

pixel_layout color_layout_of(const std::filesystem::path& file)
{
    return keeps_radiance(file) ? pixel_layout::radiance : pixel_layout::rgb8;
}

void check_picture_file(const std::filesystem::path& file, const picture& shape)
{
    format_of(file, shape.layout);
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (std::filesystem::is_directory(status)) { cannot_write(file, "it is a folder"); }
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    {
        cannot_write(file, "it is not a plain file");
    }
    if (std::filesystem::exists(status) && access(file.c_str(), W_OK) != 0)
    {
        cannot_write(file, strerror(errno));
    }
    temporary_file probe(file);
    const auto bytes =
        off_t(int64_t(shape.width) * shape.height * int64_t(bytes_per_pixel(shape.layout)) + 4096);
    const int result = posix_fallocate(fileno(probe.stream), 0, bytes);
    if (result == ENOSPC || result == EFBIG || result == EDQUOT) { cannot_write(file, strerror(result)); }
}

void write_picture(const std::filesystem::path& file, const picture& p)
{
    format_of(file, p.layout).write(file, p);
}

void write_text(const std::filesystem::path& file, const std::string& text)
{
    temporary_file out(file);
    if (std::fwrite(text.data(), 1, text.size(), out.stream) != text.size())
    {
        cannot_write(file, strerror(errno));
    }
    out.take_name();
}

void write_radiance(const std::filesystem::path& file, const image_buffer& light, const std::string& comment)
{
    if (!zr_write_noted_radiance_file(target_of(file).c_str(), &light, comment.c_str()))
    {
        cannot_write(file, zr_last_error()->text);
    }
}

namespace
{

const format_row& format_of(const std::filesystem::path& file, pixel_layout layout)
{
    const format_row* named = format_named(file);
    if (named && can_hold(*named, layout)) { return *named; }
    // Where light is wanted any picture will do; its layout then follows the name.
    const bool any = layout == pixel_layout::rgb8 || layout == pixel_layout::radiance;
    std::string names;
    for (const format_row& f : formats)
    {
        if (any || can_hold(f, layout)) { names += std::string(names.empty() ? "" : ", ") + f.extension; }
    }
    cannot_write(file, (any ? "the name must end in one of " : "the name must end in ") + names);
}

const format_row* format_named(const std::filesystem::path& file)
{
    std::string extension = file.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
        [](unsigned char c) { return char(tolower(c)); });
    for (const format_row& f : formats)
    {
        if (extension == f.extension) { return &f; }
    }
    return nullptr;
}

bool can_hold(const format_row& f, pixel_layout layout)
{
    if (layout == pixel_layout::radiance) { return !f.write; }
    return f.write && (f.has_grey || layout == pixel_layout::rgb8 || layout == pixel_layout::rgba8);
}

/// Takes away what writers of the target that were killed have left.
void remove_leftovers(const std::filesystem::path& target)
{
    const std::string prefix = part_prefix(target);
    const std::filesystem::path folder = target.parent_path();
    std::error_code error;
    for (std::filesystem::directory_iterator i(folder.empty() ? "." : folder, error), end; !error && i != end;
         i.increment(error))
    {
        const std::string name = i->path().filename().string();
        if (!name.starts_with(prefix) || !name.ends_with(".part")) { continue; }
        char* after = nullptr;
        const long id = std::strtol(name.c_str() + prefix.size(), &after, 10);
        if (id > 0 && *after == '-' && kill(pid_t(id), 0) != 0 && errno == ESRCH)
        {
            unlink(i->path().c_str());
        }
    }
}

void write_png(const std::filesystem::path& file, const picture& p)
{
    temporary_file out(file);
    std::vector<uint8_t> row(size_t(p.width) * bytes_per_pixel(p.layout));
    png_failure f;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &f, on_png_error, on_png_warning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    errno = 0;
    const bool done = info && encode_png(out.stream, p, png, info, f, row);
    png_destroy_write_struct(&png, &info);
    if (!done) { cannot_write(file, f.text); }
    out.take_name();
}

size_t bytes_per_pixel(pixel_layout layout)
{
    switch (layout)
    {
    case pixel_layout::rgb8:
        return 3;
    case pixel_layout::rgba8:
    case pixel_layout::radiance:
        return 4;
    case pixel_layout::grey16:
        return 2;
    default:
        return 1;
    }
}

void on_png_error(png_structp png, png_const_charp text)
{
    auto* f = static_cast<png_failure*>(png_get_error_ptr(png));
    // A failed write reaches libpng as "Write Error"; the system knows more.
    std::snprintf(f->text, sizeof f->text, "%s", errno ? strerror(errno) : text);
    longjmp(f->back, 1);
}

void on_png_warning(png_structp, png_const_charp) {}

/// Everything that a jump out of libpng could skip lives outside of this function.
bool encode_png(FILE* stream, const picture& p, png_structp png, png_infop info, png_failure& f,
    std::vector<uint8_t>& row)
{
    if (setjmp(f.back)) { return false; }
    const bool has_alpha = p.layout == pixel_layout::rgba8;
    const bool is_color = has_alpha || p.layout == pixel_layout::rgb8;
    const int color_type = has_alpha  ? PNG_COLOR_TYPE_RGB_ALPHA
                           : is_color ? PNG_COLOR_TYPE_RGB
                                      : PNG_COLOR_TYPE_GRAY;
    png_set_user_limits(png, 1 << 17, 1 << 17);
    png_init_io(png, stream);
    // A stopped render must be on the disk within two seconds; higher levels gain few bytes.
    png_set_compression_level(png, 4);
    png_set_IHDR(png, info, png_uint_32(p.width), png_uint_32(p.height),
        p.layout == pixel_layout::grey16 ? 16 : 8, color_type, PNG_INTERLACE_NONE,
        PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (is_color) { png_set_gAMA(png, info, 1 / 2.2); }
    png_write_info(png, info);
    for (int y = 0; y < p.height; ++y)
    {
        p.read_row(y, row.data());
        errno = 0;
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    return true;
}

template <uint32_t format, bool has_alpha>
void write_by_library(const std::filesystem::path& file, const picture& p)
{
    bitmap_format record{};
    zr_init_bitmap_format(format, &record);
    const std::u16string path = target_of(file);
    if (path.size() >= std::size(record.path))
    {
        cannot_write(file, "the path of such a picture has at most 255 characters");
    }
    std::copy(path.begin(), path.end(), record.path);
    record.width = uint32_t(p.width);
    record.height = uint32_t(p.height);
    record.compression = uint32_t(100 - p.jpeg_quality);
    record.alpha_mode = p.layout == pixel_layout::rgba8 && has_alpha ? LINE_RGBA : LINE_RGB;
    record.image = const_cast<picture*>(&p);
    record.line_source =
        p.layout == pixel_layout::rgba8 && !has_alpha ? library_row_without_alpha : library_row;
    if (!record.write_image(&record)) { cannot_write(file, zr_last_error()->text); }
}

/// The same out of a picture with alpha for a format that has none.
int32_t library_row_without_alpha(bitmap_format* record, line_request* request)
{
    const picture& p = *static_cast<const picture*>(record->image);
    std::vector<uint8_t> row(4 * size_t(p.width));
    p.read_row(p.height - 1 - int(request->row), row.data());
    for (size_t x = 0; x < size_t(p.width); ++x) { std::copy_n(&row[4 * x], 3, request->buffer + 3 * x); }
    return 1;
}

/// The library's writers ask for rows from below, with or without alpha.
int32_t library_row(bitmap_format* record, line_request* request)
{
    const picture& p = *static_cast<const picture*>(record->image);
    p.read_row(p.height - 1 - int(request->row), request->buffer);
    return 1;
}

std::string part_prefix(const std::filesystem::path& target)
{
    return fmt::format(".{}.", target.filename().string());
}

/// Where the library should write: a link keeps pointing where it did.
std::u16string target_of(const std::filesystem::path& file)
{
    std::error_code error;
    const std::filesystem::path target = std::filesystem::weakly_canonical(file, error);
    return utf16_of(error ? file : target);
}

[[noreturn]] void cannot_write(const std::filesystem::path& file, const std::string& why)
{
    throw failure(exit_render_failed, fmt::format("{}: cannot be written: {}", file.string(), why));
}

} // namespace

} // namespace host
