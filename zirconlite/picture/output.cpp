/// @file
/// Renderings out of the library: the row source of the writers, single output pixels, the dither.
#include "zirconlite/picture/output.h"

#include <algorithm>
#include <string.h>

#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/document_state.hpp"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"
#include "zirconlite/platform/threads.hpp"

namespace
{

int32_t raytrace_line_source(bitmap_format* record, line_request* request);
uint8_t dithered(int32_t value, int32_t threshold, int32_t top);

// By (x AND 3) x 4 + (y AND 3).
constexpr int32_t dither_matrix[16] = { 0, 7, 2, 7, 6, 3, 4, 3, 6, 1, 7, 1, 4, 5, 2, 5 };

} // namespace

int32_t zr_write_raytrace_image(bitmap_format* record)
{
    const auto* view = record ? static_cast<const render_view*>(record->image) : nullptr;
    document* scene = view ? zr::document_of(*view) : nullptr;
    if (!scene || !view->image)
    {
        zr::report_failure(ZR_ERROR_STATE, "there is no rendering to write");
        return 0;
    }
    if (!record->write_image)
    {
        zr::report_failure(ZR_ERROR_FORMAT, "this picture format has no writer");
        return 0;
    }
    record->alpha_mode = scene->environment_flags & ENVIRONMENT_ALPHA ? LINE_RGBA : LINE_RGB;
    record->pixel_cache = scene->mode == MODE_SIMPLE ? nullptr : zr_init_pixel_cache();
    record->line_source = raytrace_line_source;
    if (scene->render_state & RENDER_STATE_CROPPED)
    {
        record->width = uint32_t(std::max(scene->crop[2] - scene->crop[0], 0));
        record->height = uint32_t(std::max(scene->crop[3] - scene->crop[1], 0));
    }
    const int32_t written = record->write_image(record);
    if (written) { zr::platform::set_bits(&scene->render_state, uint32_t(RENDER_STATE_SAVED)); }
    zr_term_pixel_cache(record->pixel_cache);
    record->pixel_cache = nullptr;
    return written;
}

int32_t read_rt_pixel(const render_view* view, const int32_t position[2], uint8_t* bytes, pixel_cache* cache,
    int32_t want_alpha)
{
    const image_buffer* image = view->image;
    const int32_t width = image ? image->width : 0, height = image ? image->height : 0;
    if (position[1] < 0) { return -3; }
    if (position[1] >= height) { return -4; }
    if (position[0] < 0) { return -1; }
    if (position[0] >= width) { return -2; }

    const uint8_t signature = zr::platform::load_word(zr_image_buffer_signature(image, position[1]));
    if (signature == ROW_EMPTY || signature == ROW_PREPROCESS)
    {
        memset(bytes, 0, want_alpha ? 4 : 3);
        return 0;
    }
    const int32_t step_bits = signature == ROW_PASS_1 ? 3 : signature == ROW_PASS_2 ? 1 : 0;
    const int32_t x = position[0] & ~step_bits, y = position[1] & ~step_bits;
    pixel_pointers at;
    image_buffer_pixel_pointers(image, x, y, &at);
    int32_t v[3];
    zr_evaluate_rt_pixel_ex(view, cache, at.pixel, v, 11);
    dither24(x, y, v[0], v[1], v[2], &bytes[0], &bytes[1], &bytes[2]);
    // The plane holds the share of background, the file the share of object.
    if (want_alpha) { bytes[3] = at.alpha ? uint8_t(255 - *at.alpha) : uint8_t(0); }
    return 1;
}

void dither24(
    int32_t x, int32_t y, int32_t r, int32_t g, int32_t b, uint8_t* r_out, uint8_t* g_out, uint8_t* b_out)
{
    const int32_t m = dither_matrix[(x & 3) * 4 + (y & 3)];
    *r_out = dithered(r, m, 255);
    *g_out = dithered(g, m, 255);
    *b_out = dithered(b, m, 255);
}

void dither16(
    int32_t x, int32_t y, int32_t r, int32_t g, int32_t b, uint8_t* r_out, uint8_t* g_out, uint8_t* b_out)
{
    const int32_t m = dither_matrix[(x & 3) * 4 + (y & 3)];
    *r_out = dithered(r, m, 31);
    *g_out = dithered(g, m, 31);
    *b_out = dithered(b, m, 31);
}

void write_progress(bitmap_format* record, uint32_t row) { zr::show_rows_written(*record, row + 1); }

int32_t zr_free_raytrace_buffer(render_view* view)
{
    const zr::platform::lock_scope hold(zr::image_lock());
    zr_destroy_image_buffer(view->image);
    view->image = nullptr;
    return 1;
}

namespace
{

/// One row of the rendering, or of its rendered rectangle; black where the picture has no such pixel.
int32_t raytrace_line_source(bitmap_format* record, line_request* request)
{
    const auto* view = static_cast<const render_view*>(record->image);
    const document* scene = zr::document_of(*view);
    const bool want_alpha = request->pixel_kind == LINE_RGBA;
    const size_t pixel_bytes = want_alpha ? 4 : 3;
    int32_t position[2] = { 0, int32_t(request->row) };
    if (scene && (scene->render_state & RENDER_STATE_CROPPED))
    {
        position[0] += scene->crop[0];
        position[1] += scene->crop[1];
    }
    // The picture may be shown and replaced meanwhile.
    const zr::platform::lock_scope hold(zr::image_lock());
    uint8_t* out = request->buffer;
    for (uint32_t i = 0; i < record->width; ++i, ++position[0], out += pixel_bytes)
    {
        if (read_rt_pixel(view, position, out, record->pixel_cache, want_alpha) < 0)
        {
            memset(out, 0, pixel_bytes);
        }
    }
    return 1;
}

uint8_t dithered(int32_t value, int32_t threshold, int32_t top)
{
    const int32_t clamped = std::clamp(value, 0, top * 8 + 7);
    const int32_t low = clamped >> 3;
    return uint8_t((clamped & 7) <= threshold ? low : std::min(low + 1, top));
}

} // namespace
