#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/temporary_folder.hpp"
#include "zirconlite/display/hooks.hpp"
#include "zirconlite/frame/document.h"
#include "zirconlite/frame/error.h"
#include "zirconlite/frame/window.h"
#include "zirconlite/picture/gamma_tables.hpp"
#include "zirconlite/picture/output.h"

namespace
{

/// A finished rendering of one radiance, shown by the power curve with tone values of 1.
struct rendering
{
    document scene = {};
    render_view& view = scene.views[1];

    rendering(int32_t width, int32_t height)
    {
        zr::fill_gamma_tables();
        scene.environment_flags = ENVIRONMENT_ALPHA;
        view.document = &scene;
        view.tone_exponent = view.tone_scale = view.background_exponent = view.background_scale = 1.0;
        view.contrast = 0.4f;
        view.source_gain = 1.0f;
        view.width = width;
        view.height = height;
        view.image = new_image_buffer(&scene, width, height);
        for (int y = 0; y < height; ++y)
        {
            *zr_image_buffer_signature(view.image, y) = ROW_COMPLETE;
            for (int x = 0; x < width; ++x) { put(x, y, 0.25f); }
        }
    }
    ~rendering() { zr_free_raytrace_buffer(&view); }

    void put(int x, int y, float radiance)
    {
        pixel_components c = {};
        c.surface[0] = c.surface[1] = c.surface[2] = radiance;
        pack_pixel(view.image, &c, zr_image_buffer_pixel(view.image, x, y));
    }
};

/// What a writer was given.
struct written_rows
{
    uint32_t width = 0, height = 0, pixel_kind = 0;
    std::vector<std::vector<uint8_t>> rows;
} written;

int32_t keep_rows(bitmap_format* record)
{
    written = { record->width, record->height, record->alpha_mode, {} };
    for (uint32_t y = 0; y < record->height; ++y)
    {
        std::vector<uint8_t> row(record->width * (record->alpha_mode == LINE_RGBA ? 4 : 3), 77);
        line_request request = { record->alpha_mode, y, row.data() };
        if (!record->line_source(record, &request)) { return 0; }
        written.rows.push_back(row);
        write_progress(record, y);
    }
    return 1;
}

} // namespace

TEST(Output, WritesTheRenderedRectangle)
{
    rendering r(64, 64);
    r.put(16, 16, 4.0f); // white
    r.scene.render_state = RENDER_STATE_CROPPED;
    const int32_t crop[4] = { 16, 16, 48, 32 };
    std::memcpy(r.scene.crop, crop, sizeof(crop));
    bitmap_format record = {};
    record.image = &r.view;
    record.write_image = keep_rows;
    progress_bar bar = {};
    record.progress = &bar;
    EXPECT_EQ(zr_write_raytrace_image(&record), 1);
    EXPECT_EQ(written.width, 32u);
    EXPECT_EQ(written.height, 16u);
    EXPECT_EQ(written.pixel_kind, uint32_t(LINE_RGBA));
    EXPECT_EQ(written.rows[0][0], 255);
    EXPECT_NEAR(written.rows[0][4], 136, 1); // 0.25 ^ (1 / 2.2) x 255 = 135.8
    EXPECT_EQ(written.rows[0][3], 255) << "no background was seen there";
    EXPECT_TRUE(r.scene.render_state & RENDER_STATE_SAVED);
    EXPECT_EQ(bar.fraction, 1.0);
    EXPECT_EQ(std::u16string(bar.text), u"100%");

    // A rectangle that leaves the picture is black there, and no byte stays as it was.
    r.scene.crop[2] = 80;
    EXPECT_EQ(zr_write_raytrace_image(&record), 1);
    EXPECT_EQ(written.rows[0][4 * 60], 0);
    EXPECT_EQ(written.rows[0][4 * 60 + 3], 0);
}

TEST(Output, StoppedPicturesAreBlackWhereNothingWasReached)
{
    rendering r(16, 16);
    r.view.image->alpha[0] = 200;
    struct
    {
        int signature, x, y, result, level, alpha;
    } const cases[] = {
        { ROW_COMPLETE, 5, 6, 1, 136, 255 },
        { ROW_COMPLETE, 0, 0, 1, 136, 55 },
        { ROW_EMPTY, 5, 6, 0, 0, 0 },
        { ROW_PREPROCESS, 5, 6, 0, 0, 0 },
        { ROW_PASS_1, 5, 6, 1, 255, 255 },
        { ROW_PASS_2, 7, 7, 1, 255, 255 },
        { ROW_COMPLETE, -1, 0, -1, 7, 7 },
        { ROW_COMPLETE, 16, 0, -2, 7, 7 },
        { ROW_COMPLETE, 0, -1, -3, 7, 7 },
        { ROW_COMPLETE, 16, 16, -4, 7, 7 },
    };
    r.put(4, 4, 4.0f); // the sample of pass 1
    r.put(6, 6, 4.0f); // and of pass 2
    for (const auto& c : cases)
    {
        SCOPED_TRACE(testing::Message() << "signature " << c.signature << " at " << c.x << ", " << c.y);
        r.put(5, 6, 0.25f);
        for (int y = 0; y < 16; ++y) { *zr_image_buffer_signature(r.view.image, y) = uint8_t(c.signature); }
        const int32_t position[2] = { c.x, c.y };
        uint8_t bytes[4] = { 7, 7, 7, 7 };
        EXPECT_EQ(read_rt_pixel(&r.view, position, bytes, nullptr, 1), c.result);
        EXPECT_NEAR(bytes[0], c.level, 1);
        EXPECT_EQ(bytes[3], c.alpha);
    }
}

TEST(Output, DitherKeepsTheMeanAndTheEnds)
{
    struct
    {
        int32_t value;
        double low, high; ///< of the mean over the cells
    } const cases[] = { { 0, 0, 0 }, { 7, 0.75, 0.95 }, { 1000, 125, 125 }, { 1004, 125.3, 125.7 },
        { 2040, 255, 255 }, { 2047, 255, 255 }, { -5, 0, 0 }, { 9999, 255, 255 } };
    for (const auto& c : cases)
    {
        double sum = 0.0;
        for (int cell = 0; cell < 16; ++cell)
        {
            uint8_t rgb[3];
            dither24(cell / 4, cell % 4, c.value, c.value, c.value, &rgb[0], &rgb[1], &rgb[2]);
            EXPECT_EQ(rgb[0], rgb[2]);
            sum += rgb[0];
        }
        EXPECT_GE(sum / 16, c.low) << c.value;
        EXPECT_LE(sum / 16, c.high) << c.value;
    }
    uint8_t rgb[3];
    dither24(0, 1, 7, 7, 7, &rgb[0], &rgb[1], &rgb[2]);
    EXPECT_EQ(rgb[0], 0) << "the cell's threshold is 7";
    dither24(-4, 0, 7, 7, 7, &rgb[0], &rgb[1], &rgb[2]);
    EXPECT_EQ(rgb[0], 1) << "the cell's threshold is 0";
    dither16(0, 0, 255, 249, 8, &rgb[0], &rgb[1], &rgb[2]);
    EXPECT_EQ(rgb[0], 31);
    EXPECT_EQ(rgb[1], 31);
    EXPECT_EQ(rgb[2], 1);
}

TEST(Output, SavesUnderTheFormatsOwnExtension)
{
    rendering r(6, 4);
    const temporary_folder folder;
    bitmap_format record = {};
    EXPECT_EQ(zr_save_rendering(nullptr, &record, &r.view), 0) << "without dialogs it counts as cancelled";

    struct answer
    {
        int32_t result, filter;
        std::u16string path;
        int32_t offered;
    } given = { 1, 2, folder.wide("first.try.jpeg"), 0 };
    zr_dialogs dialogs = {};
    dialogs.context = &given;
    dialogs.save_file = [](void* context, zr_handle, zr_save_dialog* dialog) -> int32_t
    {
        auto& a = *static_cast<answer*>(context);
        a.offered = dialog->filter;
        dialog->filter = a.filter;
        a.path.copy(dialog->path, a.path.size());
        dialog->path[a.path.size()] = 0;
        return a.result;
    };
    zr_install_dialogs(&dialogs);
    record.selected_format = BITMAP_TARGA;
    EXPECT_EQ(zr_save_rendering(nullptr, &record, &r.view), 1);
    EXPECT_EQ(given.offered, 3);
    EXPECT_EQ(record.selected_format, uint32_t(BITMAP_BMP));
    EXPECT_EQ(std::u16string(record.path), folder.wide("first.try.bmp"));
    EXPECT_EQ(folder.read("first.try.bmp").size(), 56u + 4u * 20u);

    for (const int32_t filter : { 0, 5 })
    {
        given.filter = filter;
        EXPECT_EQ(zr_save_rendering(nullptr, &record, &r.view), 0);
    }
    given.filter = 2;
    given.path = std::u16string(253, u'a');
    EXPECT_EQ(zr_save_rendering(nullptr, &record, &r.view), 0) << "the extension does not fit";
    zr_install_dialogs(nullptr);
}

TEST(Output, FramesAreReadBackFromTheDisplay)
{
    // A display of R, G, B as light; x, line and size of the block that was asked for go into the pixels.
    struct block
    {
        int32_t left, line, width, height;
        float* pixels;
    };
    zr::display_functions display = {};
    display.send_message = [](uint32_t message, uintptr_t argument, uint32_t) -> int32_t
    {
        const block& b = *reinterpret_cast<const block*>(argument);
        for (int32_t i = 0; i < b.width * b.height; ++i)
        {
            const float rgb[3] = { float(b.line + i / b.width) / 255.0f, float(b.left + i % b.width) / 255.0f,
                i == 0   ? 9.0f
                : i == 1 ? -9.0f
                         : 127.5f / 255.0f };
            std::copy_n(rgb, 3, b.pixels + size_t(3) * i);
        }
        return message == 21;
    };
    zr::set_display_functions(&display);
    const int32_t size[2] = { 3, 2 }, none[2] = { 0, 2 }, tall[2] = { 3, 3 };
    ASSERT_EQ(zr_init_walkabout_frame(size), 1);
    std::vector<uint8_t> frame(2 * 10, 77);
    EXPECT_EQ(zr_get_walkabout_frame(size, frame.data(), 10), 1);
    EXPECT_EQ(frame,
        (std::vector<uint8_t>{ 255, 0, 0, 0, 1, 0, 128, 2, 0, 77, 128, 0, 1, 128, 1, 1, 128, 2, 1, 77 }));
    EXPECT_EQ(zr_get_walkabout_frame(size, frame.data(), 8), 0) << "rows are longer";
    EXPECT_EQ(zr_get_walkabout_frame(tall, frame.data(), 10), 0) << "larger than what was begun";

    bitmap_format record = {};
    record.write_image = keep_rows;
    record.height = 2;
    for (const uint32_t width : { 3u, 2u, 4u })
    {
        record.width = width;
        record.alpha_mode = width == 2 ? LINE_RGBA : LINE_RGB;
        ASSERT_EQ(zr_write_walkabout_image(&record), 1);
        ASSERT_EQ(written.rows.size(), 2u);
        EXPECT_EQ(written.rows[1], width == 2 ? (std::vector<uint8_t>{ 1, 0, 255, 255, 1, 1, 0, 255 })
                                   : width == 3
                                       ? (std::vector<uint8_t>{ 1, 0, 255, 1, 1, 0, 1, 2, 128 })
                                       : (std::vector<uint8_t>{ 1, 0, 255, 1, 1, 0, 1, 2, 128, 1, 3, 128 }));
    }
    record.write_image = nullptr;
    EXPECT_EQ(zr_write_walkabout_image(&record), 0);
    zr::set_display_functions(nullptr);
    EXPECT_EQ(zr_get_walkabout_frame(size, frame.data(), 10), 0) << "no display";
    EXPECT_EQ(zr_term_walkabout_frame(), 1);
    EXPECT_EQ(zr_get_walkabout_frame(size, frame.data(), 10), 0) << "none was begun";
    EXPECT_EQ(zr_init_walkabout_frame(none), 0);
}

TEST(Output, ThePixelCacheKeepsTheLastFive)
{
    rendering r(4, 4);
    pixel_cache* cache = zr_init_pixel_cache();
    const auto shown = [&](uint8_t key, float radiance)
    {
        const uint8_t pixel[5] = { 0, 0, 0, 0, key };
        pixel_components light = {};
        light.present = PIXEL_HAS_SURFACE;
        std::fill_n(light.surface, 3, radiance);
        float rgb[3];
        EXPECT_EQ(zr_get_pixel_rgb(&r.view, cache, pixel, &light, rgb), 1);
        return rgb[1];
    };
    float first[8];
    for (const uint8_t key : { 1, 2, 3, 4, 5 }) { first[key] = shown(key, 0.1f * key); }
    EXPECT_GT(first[2], first[1]);
    for (const uint8_t key : { 3, 1, 5, 2, 4 }) { EXPECT_EQ(shown(key, 0.0f), first[key]) << int(key); }
    first[6] = shown(6, 0.6f); // in the place of the first
    for (const uint8_t key : { 2, 3, 4, 5, 6 }) { EXPECT_EQ(shown(key, 0.0f), first[key]) << int(key); }
    EXPECT_EQ(shown(1, 0.0f), 0.0f);
    EXPECT_EQ(shown(2, 0.0f), 0.0f);
    EXPECT_EQ(shown(6, 0.0f), first[6]);
    EXPECT_EQ(zr_term_pixel_cache(cache), 1);
    EXPECT_EQ(zr_term_pixel_cache(nullptr), 0);
    int32_t values[3];
    uint8_t bytes[3];
    const uint8_t* pixel = zr_image_buffer_pixel(r.view.image, 1, 1);
    EXPECT_EQ(zr_evaluate_rt_pixel_ex(&r.view, nullptr, pixel, values, 11), 1);
    EXPECT_EQ(zr_evaluate_rt_pixel(&r.view, nullptr, pixel, bytes), 1);
    EXPECT_NEAR(values[0] / 2047.0, bytes[0] / 255.0, 0.5 / 255);
    EXPECT_NEAR(bytes[0], 136, 1); // a quarter to the power 1 / 2.2
}
