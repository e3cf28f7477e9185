/// @file
/// The same triangles in Embree, as a yardstick: its own single rays in f32, and a user geometry whose
/// callback tests each triangle in f64 as the library does.
#pragma once

#include <embree3/rtcore.h>

#include "bench/scenes.hpp"

namespace bench
{

using namespace zr;

class embree_scene
{
public:
    explicit embree_scene(const triangle_scene& s) : scene_(s), device_(rtcNewDevice("threads=1"))
    {
        native_ = rtcNewScene(device_);
        RTCGeometry mesh = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_TRIANGLE);
        auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), s.vertices.size()));
        for (const vector3& p : s.vertices)
        {
            *v++ = float(p.x);
            *v++ = float(p.y);
            *v++ = float(p.z);
        }
        auto* i = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
            mesh, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), s.triangles()));
        for (const int32_t n : s.indices) { *i++ = static_cast<unsigned>(n); }
        finish(native_, mesh);

        exact_ = rtcNewScene(device_);
        RTCGeometry user = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_USER);
        rtcSetGeometryUserPrimitiveCount(user, static_cast<unsigned>(s.triangles()));
        rtcSetGeometryUserData(user, this);
        rtcSetGeometryBoundsFunction(user, bounds, nullptr);
        rtcSetGeometryIntersectFunction(user, intersect);
        rtcSetGeometryOccludedFunction(user, occluded);
        finish(exact_, user);
    }
    ~embree_scene()
    {
        rtcReleaseScene(native_);
        rtcReleaseScene(exact_);
        rtcReleaseDevice(device_);
    }
    embree_scene(const embree_scene&) = delete;
    embree_scene& operator=(const embree_scene&) = delete;

    size_t trace_all(const std::vector<ray_start>& rays, bool shadows, int threads, bool exact) const
    {
        RTCScene scene = exact ? exact_ : native_;
        std::vector<size_t> hits(size_t(threads));
        in_parallel(rays.size(), threads,
            [&](size_t first, size_t last, int t)
            {
                size_t count = 0;
                for (size_t i = first; i < last; ++i)
                {
                    RTCIntersectContext context;
                    rtcInitIntersectContext(&context);
                    RTCRayHit q = query(rays[i]);
                    if (shadows)
                    {
                        rtcOccluded1(scene, &context, &q.ray);
                        count += q.ray.tfar < 0.0f;
                    }
                    else
                    {
                        rtcIntersect1(scene, &context, &q);
                        count += q.hit.geomID != RTC_INVALID_GEOMETRY_ID;
                    }
                }
                hits[size_t(t)] += count;
            });
        size_t sum = 0;
        for (const size_t h : hits) { sum += h; }
        return sum;
    }

private:
    void finish(RTCScene scene, RTCGeometry geometry)
    {
        rtcCommitGeometry(geometry);
        rtcAttachGeometry(scene, geometry);
        rtcReleaseGeometry(geometry);
        rtcCommitScene(scene);
    }

    static RTCRayHit query(const ray_start& r)
    {
        RTCRayHit q = {};
        q.ray.org_x = float(r.origin.x);
        q.ray.org_y = float(r.origin.y);
        q.ray.org_z = float(r.origin.z);
        q.ray.dir_x = float(r.direction.x);
        q.ray.dir_y = float(r.direction.y);
        q.ray.dir_z = float(r.direction.z);
        q.ray.tnear = float(r.t_min);
        q.ray.tfar = float(r.t_max);
        q.ray.mask = 0xffffffffu;
        q.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        return q;
    }

    const vector3& corner(unsigned triangle, int c) const
    {
        return scene_.vertices[size_t(scene_.indices[3 * size_t(triangle) + size_t(c)])];
    }

    static void bounds(const RTCBoundsFunctionArguments* a)
    {
        const auto& self = *static_cast<const embree_scene*>(a->geometryUserPtr);
        bounding_box box = empty_box;
        for (int c = 0; c < 3; ++c) { grow(box, self.corner(a->primID, c)); }
        RTCBounds* b = a->bounds_o;
        b->lower_x = std::nextafterf(float(box.min.x), -INFINITY);
        b->lower_y = std::nextafterf(float(box.min.y), -INFINITY);
        b->lower_z = std::nextafterf(float(box.min.z), -INFINITY);
        b->upper_x = std::nextafterf(float(box.max.x), INFINITY);
        b->upper_y = std::nextafterf(float(box.max.y), INFINITY);
        b->upper_z = std::nextafterf(float(box.max.z), INFINITY);
    }

    /// Moeller and Trumbore's test in f64; the distance, or a negative number.
    double distance(const RTCRay& q, unsigned triangle) const
    {
        const vector3 o = { q.org_x, q.org_y, q.org_z }, d = { q.dir_x, q.dir_y, q.dir_z };
        const vector3& p0 = corner(triangle, 0);
        const vector3 e1 = corner(triangle, 1) - p0, e2 = corner(triangle, 2) - p0;
        const vector3 p = cross(d, e2);
        const double det = dot(e1, p);
        if (std::fabs(det) < 1e-30) { return -1.0; }
        const double inverse = 1.0 / det;
        const vector3 s = o - p0;
        const double u = dot(s, p) * inverse;
        if (u < 0.0 || u > 1.0) { return -1.0; }
        const vector3 c = cross(s, e1);
        const double v = dot(d, c) * inverse;
        if (v < 0.0 || u + v > 1.0) { return -1.0; }
        return dot(e2, c) * inverse;
    }

    static void intersect(const RTCIntersectFunctionNArguments* a)
    {
        if (!a->valid[0]) { return; }
        const auto& self = *static_cast<const embree_scene*>(a->geometryUserPtr);
        auto* q = reinterpret_cast<RTCRayHit*>(a->rayhit);
        const double t = self.distance(q->ray, a->primID);
        if (!(t > q->ray.tnear && t < q->ray.tfar)) { return; }
        q->ray.tfar = float(t);
        q->hit.geomID = a->geomID;
        q->hit.primID = a->primID;
    }

    static void occluded(const RTCOccludedFunctionNArguments* a)
    {
        if (!a->valid[0]) { return; }
        const auto& self = *static_cast<const embree_scene*>(a->geometryUserPtr);
        auto* q = reinterpret_cast<RTCRay*>(a->ray);
        const double t = self.distance(*q, a->primID);
        if (t > q->tnear && t < q->tfar) { q->tfar = -INFINITY; }
    }

    const triangle_scene& scene_;
    RTCDevice device_;
    RTCScene native_, exact_;
};

} // namespace bench
