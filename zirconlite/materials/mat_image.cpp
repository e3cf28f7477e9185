/// @file
/// Making, copying and freeing the pictures of materials.
#include "zirconlite/materials/mat_image.h"

#include <cmath>

#include "zirconlite/frame/memory.h"
#include "zirconlite/frame/status.hpp"
#include "zirconlite/geometry/vector.h"
#include "zirconlite/imagefiles/bitmap_store.hpp"
#include "zirconlite/materials/mask_source.hpp"

namespace
{

constexpr double tile_size = 0.25;
constexpr double min_size = 1e-10, max_scale = 1e12;

int32_t display_byte(float linear);
double scale_of(double size);
bool is_of_user(const bitmap* b);

} // namespace

mat_image* zr_new_mat_image(void)
{
    auto* made = static_cast<mat_image*>(zr_calloc(1, sizeof(mat_image)));
    auto* key = static_cast<mat_key*>(zr_calloc(1, sizeof(mat_key)));
    if (!made || !key)
    {
        zr_free(made);
        zr_free(key);
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for a picture of a material");
        return nullptr;
    }
    made->key = key;
    made->flags = IMAGE_ON_COLOR;
    made->strength = 1.0f;
    made->size[0] = made->size[1] = tile_size;
    made->axis[2] = 1.0;
    zr_update_mat_image(made);
    return made;
}

int32_t zr_free_mat_image(mat_image* image, int32_t free_bitmap)
{
    if (!image) { return 1; }
    if (free_bitmap || zr_bitmap_ui_not_cached() || is_of_user(image->bitmap))
    {
        zr::free_unlisted(image->bitmap);
    }
    zr_free(image->key);
    if (image->free_user) { image->free_user(image); }
    zr_free(image);
    return 1;
}

mat_image* zr_dupe_mat_image_ex(const mat_image* image, int32_t copy_bitmap)
{
    if (!image) { return nullptr; }
    auto* copy = static_cast<mat_image*>(zr_malloc(sizeof(mat_image)));
    auto* key = static_cast<mat_key*>(zr_calloc(1, sizeof(mat_key)));
    const bool own_bitmap = image->bitmap && (copy_bitmap || is_of_user(image->bitmap));
    bitmap* pixels = own_bitmap ? zr_dupe_bitmap(image->bitmap) : nullptr;
    if (!copy || !key || (own_bitmap && !pixels))
    {
        zr_free(copy);
        zr_free(key);
        zr_free_bitmap(pixels);
        zr::report_failure(ZR_ERROR_MEMORY, "no memory for the copy of a picture");
        return nullptr;
    }
    *copy = *image;
    if (image->key) { *key = *image->key; }
    copy->key = key;
    if (own_bitmap)
    {
        copy->bitmap = pixels;
        pixels->flags |= BITMAP_OF_USER;
    }
    if (copy->dupe_user) { copy->dupe_user(copy); }
    copy->next = nullptr;
    return copy;
}

mat_image* zr_dupe_mat_image(const mat_image* image)
{
    return zr_dupe_mat_image_ex(image, zr_bitmap_ui_not_cached());
}

int32_t free_image_list(mat_image* head)
{
    while (head)
    {
        mat_image* next = head->next;
        zr_free_mat_image(head, 0);
        head = next;
    }
    return 1;
}

mat_image* dupe_image_list(const mat_image* head)
{
    mat_image* first = nullptr;
    for (mat_image** link = &first; head; head = head->next, link = &(*link)->next)
    {
        *link = zr_dupe_mat_image(head);
        if (*link) { continue; }
        free_image_list(first);
        return nullptr;
    }
    return first;
}

void zr_update_mat_key(mat_key* key)
{
    for (int c = 0; c < 3; ++c) { key->color_bytes[c] = display_byte(key->color[c]); }
    const double clamped = key->tolerance > 0.0f ? std::fmin(key->tolerance, 1.0) : 0.0;
    key->tolerance_byte = int32_t(clamped * 255.0);
}

void zr_update_mat_image(mat_image* image)
{
    for (int i = 0; i < 2; ++i) { image->scale[i] = scale_of(image->size[i]); }
    const vector3 axis = { image->axis[0], image->axis[1], image->axis[2] };
    const vector3 origin = { image->origin[0], image->origin[1], image->origin[2] };
    zr_build_matrix(&axis, &origin, -double(image->rotation), &image->transform);
}

namespace zr
{

void release_mask(mask_source* mask)
{
    if (!mask || --mask->references > 0) { return; }
    if (is_of_user(mask->bitmap)) { free_unlisted(mask->bitmap); }
    zr_free(mask);
}

} // namespace zr

namespace
{

int32_t display_byte(float linear)
{
    const double clamped = linear > 0.0f ? std::fmin(linear, 1.0) : 0.0;
    return int32_t(std::pow(clamped, 1.0 / 2.2) * 255.0 + 0.5);
}

double scale_of(double size) { return std::fabs(size) > min_size ? 1.0 / size : max_scale; }

bool is_of_user(const bitmap* b) { return b && (b->flags & BITMAP_OF_USER); }

} // namespace
