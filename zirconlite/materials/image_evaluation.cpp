#include "zirconlite/materials/image_evaluation.hpp"

#include <algorithm>

#include "zirconlite/frame/jitter.hpp"
#include "zirconlite/frame/job_state.hpp"
#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/materials/image_sampling.hpp"
#include "zirconlite/materials/noise.hpp"

namespace zr
{

namespace
{

constexpr double display_gamma = 2.2;
constexpr double axis_tolerance = 1e-6;
constexpr double min_tangent = 1e-9;

/// The powers of the 256 byte values; the sample of a single texel is one of them exactly.
struct linear_bytes
{
    linear_bytes()
    {
        for (int i = 0; i < 256; ++i) { of[i] = std::pow(i * 0.003921568627451, display_gamma); }
    }
    double of[256];
};

/// Strengths of all pictures for each channel that they act on.
struct strength_sums
{
    double color, reflect, transparent, shininess, clearness;
};

void cut_out(double share, surface& out);

/// One look at a picture.
struct image_sample
{
    double rgb[3]; ///< linear
    double raw[4]; ///< as stored, with alpha
    double cover;
    double cut_out;
    double u, v; ///< in the tile, 0 to 1
    bool flip_u, flip_v;
};

strength_sums add_up(const mat_image* images);
image_sample sample_at(
    const mat_image& image, const ray& r, const child_context* context, const evaluation_points& points);
bool into_tile(double& coordinate, bool mirrors);
bool is_odd(double whole);
mip_level level_at(const mat_image& image, const ray& r, const evaluation_points& points);
double blur_amplitude(uint32_t flags);
void blur(const ray& r, double amplitude, double& u, double& v);
image_sample average_of(const bitmap& b);
void apply_channels(const mat_image& image, const image_sample& s, const strength_sums& sums,
    const simple_material& m, surface& out);
void move_to(float color[3], double share, const double rgb[3]);
void give(float& weight, double part);
void take(float& weight, double part);
void apply_bump(
    const mat_image& image, const image_sample& s, const evaluation_points& points, vector3& normal);
void picture_axes(
    const mat_image& image, const evaluation_points& points, const vector3& normal, vector3& u, vector3& v);
vector3 tangent_along(const vector3& direction, const vector3& normal);
vector3 image_gradient(const mat_image& image, const evaluation_points& points, int axis);
void tilt_by_picture(
    const image_sample& s, double strength, const vector3& u, const vector3& v, vector3& normal);

} // namespace

void apply_images(const simple_material& m, const ray* r, vector3& normal, const child_context* context,
    const evaluation_points& points, surface& out)
{
    const strength_sums sums = add_up(m.images);
    for (const mat_image* image = m.images; image; image = image->next)
    {
        if (!image->bitmap) { continue; }
        const image_sample s = r ? sample_at(*image, *r, context, points) : average_of(*image->bitmap);
        if (image->strength != 0.0f) { apply_channels(*image, s, sums, m, out); }
        if (image->bump_strength != 0.0f && r)
        {
            apply_bump(*image, s, points, normal);
            out.flags |= SURFACE_TEXTURED;
        }
        if (s.cut_out != 0.0) { cut_out(s.cut_out, out); }
    }
}

bool images_stay_opaque(const mat_image* images)
{
    for (; images; images = images->next)
    {
        const bool clears = (images->flags & IMAGE_ON_CLEARNESS) && images->strength != 0.0f;
        const bool cuts = images->key && images->key->kind != KEY_NONE && (images->key->flags & KEY_CUTS_OUT);
        if (images->bitmap && (clears || cuts)) { return false; }
    }
    return true;
}

namespace
{

strength_sums add_up(const mat_image* images)
{
    strength_sums sums = {};
    for (const mat_image* i = images; i; i = i->next)
    {
        if (i->flags & IMAGE_ON_COLOR) { sums.color += i->strength; }
        if (i->flags & IMAGE_ON_REFLECT) { sums.reflect += i->strength; }
        if (i->flags & IMAGE_ON_TRANSPARENT) { sums.transparent += i->strength; }
        if (i->flags & IMAGE_ON_SHININESS) { sums.shininess += i->strength; }
        if (i->flags & IMAGE_ON_CLEARNESS) { sums.clearness += i->strength; }
    }
    return sums;
}

image_sample sample_at(
    const mat_image& image, const ray& r, const child_context* context, const evaluation_points& points)
{
    image_sample s = {};
    const vector3 placed = transform_point(image.transform, points.uvw);
    s.u = placed.x * image.scale[0];
    s.v = placed.y * image.scale[1];
    if (context && (context->flags & CHILD_COORDINATE_OFFSET))
    {
        s.u += context->coordinate_offset.x;
        s.v += context->coordinate_offset.y;
    }
    s.flip_u = into_tile(s.u, image.flags & IMAGE_MIRROR_TILES);
    s.flip_v = into_tile(s.v, image.flags & IMAGE_MIRROR_TILES);
    const mip_level level = level_at(image, r, points);
    if (const double amplitude = blur_amplitude(image.flags); amplitude != 0.0)
    {
        blur(r, amplitude, s.u, s.v);
    }
    const double uv[2] = { s.u, s.v };
    zr_sample_mipmap(image.bitmap, uv, level.level, level.fraction, s.raw);
    if (image.key && image.key->kind != KEY_NONE)
    {
        s.cover = key_value(*image.bitmap, *image.key, s.raw);
        if (image.key->flags & KEY_CUTS_OUT) { s.cut_out = s.cover; }
    }
    static const linear_bytes linear;
    for (int c = 0; c < 3; ++c)
    {
        s.rgb[c] = level.fraction == 0.0 ? linear.of[int(s.raw[c] * 255.0 + 0.5)]
                                         : std::pow(s.raw[c], display_gamma);
    }
    return s;
}

/// Gives `coordinate` its place in the tile; true when the tile is a flipped one.
bool into_tile(double& coordinate, bool mirrors)
{
    const bool flips = mirrors && is_odd(std::floor(coordinate));
    coordinate = fraction_of(coordinate);
    if (flips) { coordinate = 1.0 - coordinate; }
    return flips;
}

bool is_odd(double whole) { return fraction_of(whole * 0.5) != 0.0; }

mip_level level_at(const mat_image& image, const ray& r, const evaluation_points& points)
{
    double scale[2] = { image.scale[0], image.scale[1] };
    if (points.has_gradients)
    {
        for (int i = 0; i < 2; ++i) { scale[i] = length(image_gradient(image, points, i)); }
    }
    return choose_level(footprint_measure(r, scale, *image.bitmap), image.bitmap->level_count);
}

double blur_amplitude(uint32_t flags)
{
    if (flags & IMAGE_BLUR_MOST) { return 1.0; }
    if (flags & IMAGE_BLUR_MORE) { return 0.7; }
    return flags & IMAGE_BLUR_LITTLE ? 0.2 : 0.0;
}

void blur(const ray& r, double amplitude, double& u, double& v)
{
    double j[2];
    table_jitter(r.pixel, job.bitmap_jitter_amplitude, j);
    u = std::clamp(u + j[0] * amplitude, 0.0, 1.0);
    v = std::clamp(v + j[1] * amplitude, 0.0, 1.0);
}

/// What a material without a ray sees of a picture.
image_sample average_of(const bitmap& b)
{
    image_sample s = {};
    for (int c = 0; c < 3; ++c) { s.rgb[c] = std::pow(double(b.average[c]), display_gamma); }
    return s;
}

/// The channels that the picture acts on, each by its part of all strengths there.
void apply_channels(const mat_image& image, const image_sample& s, const strength_sums& sums,
    const simple_material& m, surface& out)
{
    const double shown = double(image.strength) * image.strength * (1.0 - s.cover);
    if ((image.flags & IMAGE_ON_COLOR) && sums.color != 0.0)
    {
        const double k = shown / sums.color;
        move_to(out.color, k, s.rgb);
        move_to(out.translucent_color, k, s.rgb);
        if (m.head.flags & MATERIAL_REFLECT_FOLLOWS_COLOR)
        {
            std::copy_n(out.translucent_color, 3, out.reflect_color);
        }
    }
    if ((image.flags & IMAGE_ON_TRANSPARENT) && sums.transparent != 0.0)
    {
        move_to(out.transparent_color, shown / sums.transparent, s.rgb);
    }
    if ((image.flags & IMAGE_ON_REFLECT) && sums.reflect != 0.0)
    {
        move_to(out.reflect_color, shown / sums.reflect, s.rgb);
    }
    const double brightness = std::max({ s.rgb[0], s.rgb[1], s.rgb[2] });
    if ((image.flags & IMAGE_ON_SHININESS) && sums.shininess != 0.0)
    {
        const double part = shown / sums.shininess * brightness * m.diffuse;
        give(out.reflect, part);
        out.highlight = out.reflect * 300.0f + 1.0f;
        take(out.diffuse, part);
    }
    if ((image.flags & IMAGE_ON_CLEARNESS) && sums.clearness != 0.0)
    {
        const double part = shown / sums.clearness * brightness * (double(m.diffuse) + m.reflect);
        give(out.transparent, part);
        take(out.translucent, part);
        take(out.diffuse, part);
        take(out.reflect, part);
    }
}

void move_to(float color[3], double share, const double rgb[3])
{
    for (int c = 0; c < 3; ++c) { color[c] = float(color[c] * (1.0 - share) + share * rgb[c]); }
}

void give(float& weight, double part) { weight = float(std::min(weight + part, 1.0)); }

void take(float& weight, double part) { weight = float(std::max(weight - part, 0.0)); }

void apply_bump(
    const mat_image& image, const image_sample& s, const evaluation_points& points, vector3& normal)
{
    const double strength = (1.0 - s.cover) * image.bump_strength;
    vector3 u, v;
    picture_axes(image, points, normal, u, v);
    if (image.flags & IMAGE_OF_NORMALS)
    {
        tilt_by_picture(s, strength, u, v, normal);
        return;
    }
    const bitmap& b = *image.bitmap;
    const bump_place at = { int32_t((b.width - 1) * s.u), int32_t((b.height - 1) * s.v),
        image.flags & IMAGE_MIRROR_TILES ? bump_border::mirror : bump_border::wrap, s.flip_u, s.flip_v, u,
        v };
    image_bump(b, at, strength, normal);
}

/// The directions on the surface in which a picture's coordinates grow. Those of projected pictures are axes
/// of the normal; those of pictures by vertex coordinates are the picture's own, so that relief follows it.
void picture_axes(
    const mat_image& image, const evaluation_points& points, const vector3& normal, vector3& u, vector3& v)
{
    if (points.has_gradients)
    {
        u = tangent_along(image_gradient(image, points, 0), normal);
        v = tangent_along(image_gradient(image, points, 1), normal);
        if (dot(u, u) > 0.0 && dot(v, v) > 0.0) { return; }
    }
    zr_make_axes(&normal, &u, &v, axis_tolerance);
}

/// A direction on the surface made square to the normal; the zero vector when it runs along it.
vector3 tangent_along(const vector3& direction, const vector3& normal)
{
    const vector3 unit = normalized(direction);
    const vector3 t = unit - normal * dot(unit, normal);
    return dot(t, t) < min_tangent ? vector3{ 0, 0, 0 } : normalized(t);
}

/// How the picture's own coordinates grow along the surface, per unit of length: the placement on top of the
/// coordinates of vertices.
vector3 image_gradient(const mat_image& image, const evaluation_points& points, int axis)
{
    const double* row = image.transform.m[axis];
    return (points.gradient[0] * row[0] + points.gradient[1] * row[1]) * image.scale[axis];
}

/// A picture of normals: red and green tilt along its axes, blue is up.
void tilt_by_picture(
    const image_sample& s, double strength, const vector3& u, const vector3& v, vector3& normal)
{
    const double x = (2.0 * s.raw[0] - 1.0) * (s.flip_u ? -strength : strength);
    const double y = (2.0 * s.raw[1] - 1.0) * (s.flip_v ? -strength : strength);
    const double z = std::max(2.0 * s.raw[2] - 1.0, 0.0);
    const vector3 tilted = x * u + y * v + z * normal;
    if (dot(tilted, tilted) > 0.0) { normal = normalized(tilted); }
}

void cut_out(double share, surface& out)
{
    out.transparent = float(share);
    out.diffuse = float(1.0 - share);
    out.translucent = out.reflect = 0.0f;
    out.ior = 1.0f;
    std::fill_n(out.transparent_color, 3, 1.0f);
}

} // namespace

} // namespace zr
