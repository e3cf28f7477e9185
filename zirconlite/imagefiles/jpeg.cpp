/// @file
/// JPEG pictures through libjpeg: grey and three channels are read; red, green, blue are written.
///
/// libjpeg leaves a failed call by a jump. It starts in error_exit and ends in the two functions with setjmp;
/// everything that lives longer than the jump is in the records that their callers own, and no object
/// with a destructor is made between the two places.
#include <algorithm>
#include <setjmp.h>
#include <stdio.h> // jpeglib.h takes FILE from here
#include <string.h>

#include <jerror.h>
#include <jpeglib.h>

#include "zirconlite/imagefiles/picture_decoding.hpp"
#include "zirconlite/imagefiles/picture_writer.hpp"

namespace
{

// Each scan of a progressive file passes over the whole picture. Encoders make about ten.
constexpr int scan_limit = 100;
constexpr long decoder_memory = 1L << 30;
constexpr JDIMENSION rows_at_once = 16;
constexpr size_t output_block = 1 << 16;

/// What libjpeg reports, and where to return when it gives up.
struct jpeg_failure
{
    jpeg_error_mgr manager; // first: libjpeg knows the address of this member only
    jmp_buf back;
    char error[JMSG_LENGTH_MAX];
    char warning[JMSG_LENGTH_MAX]; ///< the first; empty: none
};

struct jpeg_reading
{
    jpeg_failure failure;
    jpeg_decompress_struct decoder;
    jpeg_progress_mgr progress;
    jpeg_source_mgr source;
    const uint8_t* bytes;
    size_t size;
    bitmap* made;
    bool ran_out;       ///< the end of the file stands in for data that were wanted
    int64_t first_lost; ///< first row from the top without data; the height when none
    zr::status why;
};

struct jpeg_writing
{
    jpeg_failure failure;
    jpeg_compress_struct encoder;
    jpeg_destination_mgr destination;
    zr::picture_writer* writer;
    uint8_t* block; ///< of output_block bytes
};

bool run_decoder(jpeg_reading& r);
bool run_encoder(jpeg_writing& w);
jpeg_error_mgr* error_manager(jpeg_failure& f);
jpeg_source_mgr source_of(const jpeg_reading& r);
jpeg_destination_mgr destination_of(const jpeg_writing& w);

} // namespace

namespace zr
{

bitmap* decode_jpeg(const uint8_t* bytes, size_t size, status* why, uint64_t* where)
{
    jpeg_reading r = {};
    r.bytes = bytes;
    r.size = size;
    const bool done = run_decoder(r);
    *where = r.ran_out ? size : size - r.source.bytes_in_buffer;
    *why = r.why;
    jpeg_destroy_decompress(&r.decoder);
    if (!done)
    {
        zr_free_bitmap(r.made);
        if (ok(*why))
        {
            *why = fail(ZR_ERROR_FORMAT, "not a JPEG file that can be read: %s", r.failure.error);
        }
        return nullptr;
    }
    if (r.first_lost < r.made->height)
    {
        // libjpeg goes on with the last colours.
        const size_t row_bytes = size_t(r.made->width) * size_t(r.made->bytes_per_pixel);
        memset(r.made->pixels, 0, size_t(r.made->height - r.first_lost) * row_bytes);
        *why = cut_in_row(r.first_lost, r.made->height);
    }
    else if (r.ran_out) { *why = fail(ZR_ERROR_READ, "the file ends early; its last detail may be missing"); }
    else if (r.failure.warning[0])
    {
        *why = fail(ZR_ERROR_FORMAT, "the JPEG data are damaged: %s", r.failure.warning);
    }
    return r.made;
}

int32_t write_jpeg(bitmap_format* record)
{
    picture_writer writer = { .record = record };
    array<uint8_t> block;
    if (begin_picture(writer, LINE_RGB, JPEG_MAX_DIMENSION) && !block.resize(output_block))
    {
        stop_picture(writer.file, fail(ZR_ERROR_MEMORY, "no memory to write a JPEG picture"));
    }
    if (!writer.file.failed)
    {
        jpeg_writing w = {};
        w.writer = &writer;
        w.block = block.items;
        if (!run_encoder(w)) { stop_picture(writer.file, fail(ZR_ERROR_WRITE, "%s", w.failure.error)); }
        jpeg_destroy_compress(&w.encoder);
    }
    return close_picture_file(writer.file);
}

} // namespace zr

namespace
{

/// Fills the record's bitmap; false, with the reason there, when the file gives none.
bool run_decoder(jpeg_reading& r)
{
    if (setjmp(r.failure.back)) { return false; }
    jpeg_decompress_struct& d = r.decoder;
    d.err = error_manager(r.failure);
    d.client_data = &r;
    jpeg_create_decompress(&d);
    d.mem->max_memory_to_use = decoder_memory;
    r.source = source_of(r);
    d.src = &r.source;
    r.progress.progress_monitor = [](j_common_ptr codec)
    {
        auto* decoder = reinterpret_cast<j_decompress_ptr>(codec);
        if (decoder->input_scan_number > scan_limit) { ERREXIT(codec, JERR_BAD_PROGRESSION); }
    };
    d.progress = &r.progress;
    jpeg_read_header(&d, TRUE);

    const int channels = d.num_components;
    if (channels != 1 && channels != 3)
    {
        r.why = zr::fail(ZR_ERROR_FORMAT, "a JPEG picture of %d channels; 1 and 3 are supported", channels);
        return false;
    }
    r.made = zr::new_bitmap_of_file(
        d.image_width, d.image_height, channels == 1 ? zr::bitmap_grey : zr::bitmap_rgb, r.size, &r.why);
    if (!r.made) { return false; }
    r.first_lost = r.made->height;
    jpeg_start_decompress(&d);
    if (d.output_components != r.made->bytes_per_pixel)
    {
        r.why =
            zr::fail(ZR_ERROR_FORMAT, "JPEG colours of %d channels are not supported", d.output_components);
        return false;
    }
    const size_t row_bytes = size_t(d.output_width) * size_t(d.output_components);
    while (d.output_scanline < d.output_height)
    {
        JSAMPROW rows[rows_at_once];
        const JDIMENSION count = std::min(rows_at_once, d.output_height - d.output_scanline);
        for (JDIMENSION i = 0; i < count; ++i)
        {
            rows[i] = r.made->pixels + (d.output_height - 1 - d.output_scanline - i) * row_bytes;
        }
        jpeg_read_scanlines(&d, rows, count);
    }
    return true;
}

bool run_encoder(jpeg_writing& w)
{
    if (setjmp(w.failure.back)) { return false; }
    bitmap_format& record = *w.writer->record;
    jpeg_compress_struct& e = w.encoder;
    e.err = error_manager(w.failure);
    e.client_data = &w;
    jpeg_create_compress(&e);
    w.destination = destination_of(w);
    e.dest = &w.destination;
    e.image_width = record.width;
    e.image_height = record.height;
    e.input_components = 3;
    e.in_color_space = JCS_RGB;
    jpeg_set_defaults(&e);
    jpeg_set_quality(&e, 100 - int(std::min(record.compression, 100u)), TRUE);
    jpeg_start_compress(&e, TRUE);
    while (e.next_scanline < e.image_height)
    {
        if (!zr::fetch_row(*w.writer, LINE_RGB, record.height - 1 - e.next_scanline)) { return false; }
        JSAMPROW row = w.writer->row.items;
        if (jpeg_write_scanlines(&e, &row, 1) != 1) { return false; }
        zr::show_rows_written(record, e.next_scanline);
    }
    jpeg_finish_compress(&e);
    return true;
}

jpeg_error_mgr* error_manager(jpeg_failure& f)
{
    jpeg_error_mgr* manager = jpeg_std_error(&f.manager);
    manager->error_exit = [](j_common_ptr codec)
    {
        auto* failed = reinterpret_cast<jpeg_failure*>(codec->err);
        codec->err->format_message(codec, failed->error);
        longjmp(failed->back, 1);
    };
    manager->output_message = [](j_common_ptr) {};
    manager->emit_message = [](j_common_ptr codec, int level)
    {
        if (level >= 0) { return; }
        auto* failed = reinterpret_cast<jpeg_failure*>(codec->err);
        if (codec->err->num_warnings++ == 0) { codec->err->format_message(codec, failed->warning); }
        if (!codec->is_decompressor || codec->err->msg_code != JWRN_HIT_MARKER) { return; }
        auto* r = static_cast<jpeg_reading*>(codec->client_data);
        const jpeg_decompress_struct& d = r->decoder;
        // Later scans of a progressive file only add detail.
        if (!r->ran_out || d.input_scan_number > 1) { return; }
        const int64_t row = int64_t(d.input_iMCU_row) * d.max_v_samp_factor * DCTSIZE;
        r->first_lost = std::min(r->first_lost, row);
    };
    return manager;
}

/// The whole file as one buffer. At its end an end-of-image marker is handed out, so that every decoder state
/// comes to its end.
jpeg_source_mgr source_of(const jpeg_reading& r)
{
    jpeg_source_mgr source = {};
    source.next_input_byte = r.bytes;
    source.bytes_in_buffer = r.size;
    source.init_source = [](j_decompress_ptr) {};
    source.term_source = [](j_decompress_ptr) {};
    source.resync_to_restart = jpeg_resync_to_restart;
    source.fill_input_buffer = [](j_decompress_ptr decoder) -> boolean
    {
        static const JOCTET end_of_image[2] = { 0xFF, JPEG_EOI };
        static_cast<jpeg_reading*>(decoder->client_data)->ran_out = true;
        decoder->src->next_input_byte = end_of_image;
        decoder->src->bytes_in_buffer = sizeof(end_of_image);
        return TRUE;
    };
    source.skip_input_data = [](j_decompress_ptr decoder, long count)
    {
        jpeg_source_mgr& s = *decoder->src;
        if (count <= 0) { return; }
        if (size_t(count) > s.bytes_in_buffer)
        {
            s.fill_input_buffer(decoder);
            return;
        }
        s.next_input_byte += count;
        s.bytes_in_buffer -= size_t(count);
    };
    return source;
}

jpeg_destination_mgr destination_of(const jpeg_writing& w)
{
    jpeg_destination_mgr destination = {};
    destination.next_output_byte = w.block;
    destination.free_in_buffer = output_block;
    destination.init_destination = [](j_compress_ptr) {};
    destination.empty_output_buffer = [](j_compress_ptr encoder) -> boolean
    {
        auto* writing = static_cast<jpeg_writing*>(encoder->client_data);
        if (!zr::write_bytes(writing->writer->file, writing->block, output_block))
        {
            ERREXIT(encoder, JERR_FILE_WRITE);
        }
        encoder->dest->next_output_byte = writing->block;
        encoder->dest->free_in_buffer = output_block;
        return TRUE;
    };
    destination.term_destination = [](j_compress_ptr encoder)
    {
        auto* writing = static_cast<jpeg_writing*>(encoder->client_data);
        const size_t count = output_block - encoder->dest->free_in_buffer;
        if (!zr::write_bytes(writing->writer->file, writing->block, count))
        {
            ERREXIT(encoder, JERR_FILE_WRITE);
        }
    };
    return destination;
}

} // namespace
