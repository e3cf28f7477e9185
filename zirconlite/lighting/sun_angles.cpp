/// @file
/// The direction of sunlight from the sun's place in the sky.
#include <math.h>

#include "zirconlite/geometry/vector.hpp"
#include "zirconlite/lighting/sun_sky.h"

int32_t zr_sun_angles_to_vector(double azimuth, double altitude, double north, vector3* vector_out)
{
    const double turned = azimuth + north;
    const double z = -cos(zr::half_pi - altitude);
    const double r = sqrt(fmax(1.0 - z * z, 0.0));
    *vector_out = { -sin(turned) * r, -cos(turned) * r, z };
    return 1;
}
