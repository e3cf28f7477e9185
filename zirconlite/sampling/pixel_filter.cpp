#include "zirconlite/sampling/pixel_filter.hpp"

#include <cmath>

namespace zr
{

namespace
{

constexpr int steps = 1024;
double places[steps + 1] = {};     ///< offset at which a share of the filter's weight lies to the left
constexpr double deviation = 0.42; ///< of the Gaussian, pixels

/// Weight of the window left of `t`, 0 to 1 over its width.
double weight_below(double t)
{
    const double end = std::erf(pixel_filter_radius / (deviation * M_SQRT2));
    return 0.5 + 0.5 * std::erf((2.0 * t - 1.0) * pixel_filter_radius / (deviation * M_SQRT2)) / end;
}

double place_of(double share)
{
    double low = 0.0, high = 1.0;
    for (int i = 0; i < 60; ++i)
    {
        const double middle = 0.5 * (low + high);
        (weight_below(middle) < share ? low : high) = middle;
    }
    return (low + high - 1.0) * pixel_filter_radius;
}

double offset_at(double share)
{
    const double x = share * steps;
    const int i = int(x);
    return i >= steps ? places[steps] : places[i] + (places[i + 1] - places[i]) * (x - i);
}

} // namespace

void prepare_pixel_filter()
{
    if (places[steps] != 0.0) { return; }
    for (int i = 0; i <= steps; ++i) { places[i] = place_of(double(i) / steps); }
}

unit_pair filter_offset(const unit_pair& at) { return { offset_at(at.u), offset_at(at.v) }; }

} // namespace zr
