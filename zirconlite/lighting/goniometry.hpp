/// @file
/// Lookups in photometric tables. They allocate nothing and only read, on any thread.
#pragma once

#include "zirconlite/geometry/vector.h"
#include "zirconlite/lighting/goniometry.h"
#include "zirconlite/lighting/light.h"

namespace zr
{

/// Whether a table can be looked up: counts of at least 1, tables that are there, angles that rise strictly,
/// values that are finite and not negative.
bool is_usable(const goniometry& g);

/// Intensity in one direction as a share of the peak, 0 to 1; 0 at and beyond the ends of the vertical
/// angles. `azimuth` runs from -pi to pi or from 0 to 2 pi, `polar` from 0 along the axis to pi.
double goniometry_value(const goniometry& g, double azimuth, double polar);

/// The same for a light's frame: `direction` runs from the shading point to the light, the table's axis is
/// `normal` and azimuth 0 lies along `axis_u`. 1 for a light without a table.
double goniometric_factor(const light& l, const vector3& direction);

/// The integral of the table over the sphere, in closed form: between its angles the table is linear in both,
/// so that each cell has an exact integral.
double goniometry_integral(const goniometry& g);

/// Frees the tables, or this record's share of them, and empties the record.
void clear_goniometry(goniometry& g);

/// A table of zeroed rows with room for its angles; false, with `g` empty, when memory fails. `g` was empty.
bool make_goniometry_tables(goniometry& g, int32_t vertical_count, int32_t horizontal_count);

} // namespace zr
