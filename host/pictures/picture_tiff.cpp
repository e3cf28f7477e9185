/// @file
/// TIFF through libtiff's own conversion to 8 bits of R, G, B and A.
#include "host/pictures/other_pictures.hpp"

#include <fmt/format.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <memory>

namespace host
{

namespace
{

constexpr tmsize_t max_block_bytes = 1 << 30;

/// A file in memory, and the first thing that libtiff says about it.
struct tiff_memory
{
    std::span<const uint8_t> bytes;
    uint64_t at = 0;
    char error[300] = "";
};

using open_tiff = std::unique_ptr<TIFF, void (*)(TIFF*)>;

enum class tiff_alpha
{
    none,      ///< or a fourth sample that is not said to be alpha
    plain,     ///< beside the colours
    multiplied ///< into the colours
};

open_tiff open(tiff_memory& m);
int on_error(TIFF*, void* user, const char*, const char* format, va_list arguments);
int on_warning(TIFF*, void*, const char*, const char*, va_list);
tmsize_t on_read(thandle_t handle, void* out, tmsize_t count);
tmsize_t on_write(thandle_t, void*, tmsize_t);
toff_t on_seek(thandle_t handle, toff_t to, int from);
int on_close(thandle_t);
toff_t on_size(thandle_t handle);
std::string sample_fault(TIFF* t);
tiff_alpha take_alpha(TIFF* t);
void take_rows(const std::vector<uint32_t>& words, tiff_alpha kind, picture8& out);

} // namespace

bool read_any_tiff(std::span<const uint8_t> bytes, picture8& out, std::string& why)
{
    tiff_memory m{ bytes };
    const open_tiff t = open(m);
    uint32_t width = 0, height = 0;
    const bool has_size = t && TIFFGetField(t.get(), TIFFTAG_IMAGEWIDTH, &width) &&
                          TIFFGetField(t.get(), TIFFTAG_IMAGELENGTH, &height);
    if (!has_size)
    {
        why = fmt::format("the TIFF file is damaged: {}", m.error[0] ? m.error : "it names no size");
        return false;
    }
    if (const std::string fault = sample_fault(t.get()); !fault.empty())
    {
        why = fault;
        return false;
    }
    const tiff_alpha alpha = take_alpha(t.get());
    if (!make_picture(out, width, height, alpha == tiff_alpha::none ? 3 : 4, bytes.size(), why))
    {
        return false;
    }
    std::vector<uint32_t> words(size_t(width) * height);
    const bool is_whole = TIFFReadRGBAImage(t.get(), width, height, words.data(), 0) != 0;
    if (!is_whole && std::all_of(words.begin(), words.end(), [](uint32_t w) { return w == 0; }))
    {
        why = fmt::format("the TIFF file is damaged: {}", m.error);
        return false;
    }
    take_rows(words, alpha, out);
    why = m.error[0] ? fmt::format("the TIFF file is damaged, what is missing is black: {}", m.error) : "";
    return true;
}

namespace
{

open_tiff open(tiff_memory& m)
{
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, max_block_bytes);
    TIFFOpenOptionsSetErrorHandlerExtR(options, on_error, &m);
    TIFFOpenOptionsSetWarningHandlerExtR(options, on_warning, &m);
    TIFF* t = TIFFClientOpenExt(
        "picture", "rm", &m, on_read, on_write, on_seek, on_close, on_size, nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    return { t, TIFFClose };
}

int on_error(TIFF*, void* user, const char*, const char* format, va_list arguments)
{
    auto* m = static_cast<tiff_memory*>(user);
    if (m->error[0]) { return 1; }
    // libtiff puts the name of the file in front of some messages; ours has none.
    char text[sizeof m->error];
    std::vsnprintf(text, sizeof text, format, arguments);
    const size_t named = std::strncmp(text, "picture: ", 9) == 0 ? 9 : 0;
    std::strcpy(m->error, text + named);
    return 1;
}

int on_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }

tmsize_t on_read(thandle_t handle, void* out, tmsize_t count)
{
    auto* m = static_cast<tiff_memory*>(handle);
    const uint64_t left = m->at < m->bytes.size() ? m->bytes.size() - m->at : 0;
    const uint64_t taken = std::min<uint64_t>(left, count > 0 ? uint64_t(count) : 0);
    if (taken) { std::memcpy(out, m->bytes.data() + m->at, taken); }
    m->at += taken;
    return tmsize_t(taken);
}

tmsize_t on_write(thandle_t, void*, tmsize_t) { return 0; }

toff_t on_seek(thandle_t handle, toff_t to, int from)
{
    auto* m = static_cast<tiff_memory*>(handle);
    m->at = from == SEEK_CUR ? m->at + to : from == SEEK_END ? m->bytes.size() + to : to;
    return m->at;
}

int on_close(thandle_t) { return 0; }

toff_t on_size(thandle_t handle) { return static_cast<tiff_memory*>(handle)->bytes.size(); }

/// What of the samples cannot be shown as 8 bits; empty when all can.
std::string sample_fault(TIFF* t)
{
    uint16_t format = SAMPLEFORMAT_UINT;
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLEFORMAT, &format);
    if (format == SAMPLEFORMAT_INT) { return "TIFF pictures with signed samples are not supported"; }
    if (format != SAMPLEFORMAT_UINT && format != SAMPLEFORMAT_VOID)
    {
        return "TIFF pictures with floating-point samples are not supported";
    }
    char text[1024] = "";
    return TIFFRGBAImageOK(t, text) ? "" : fmt::format("the TIFF picture cannot be read: {}", text);
}

/// What the file says about alpha. libtiff would multiply plain alpha into the colours and lose them where it
/// is 0, so the file is declared to have been multiplied.
tiff_alpha take_alpha(TIFF* t)
{
    uint16_t count = 0;
    uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(t, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    if (count == 0 || !kinds) { return tiff_alpha::none; }
    if (kinds[0] == EXTRASAMPLE_ASSOCALPHA) { return tiff_alpha::multiplied; }
    if (kinds[0] != EXTRASAMPLE_UNASSALPHA) { return tiff_alpha::none; }
    std::vector<uint16_t> declared(kinds, kinds + count);
    declared[0] = EXTRASAMPLE_ASSOCALPHA;
    TIFFSetField(t, TIFFTAG_EXTRASAMPLES, count, declared.data());
    return tiff_alpha::plain;
}

/// From libtiff's words to rows of bytes.
void take_rows(const std::vector<uint32_t>& words, tiff_alpha kind, picture8& out)
{
    uint8_t* to = out.rows.data();
    for (const uint32_t word : words)
    {
        const uint32_t alpha = TIFFGetA(word);
        const bool divides = kind == tiff_alpha::multiplied && alpha > 0;
        for (const uint32_t c : { TIFFGetR(word), TIFFGetG(word), TIFFGetB(word) })
        {
            *to++ = uint8_t(divides ? std::min((c * 255 + alpha / 2) / alpha, 255u) : c);
        }
        if (kind != tiff_alpha::none) { *to++ = uint8_t(alpha); }
    }
}

} // namespace

} // namespace host
