#include "zirconlite/sampling/light_guide.hpp"

#include <algorithm>
#include <cmath>

#include "zirconlite/geometry/vector.hpp"

namespace zr
{

namespace
{

constexpr uint32_t first_samples = 128; ///< that make a guide
constexpr double part_angle = 4.0 * pi / guide_parts;

uint32_t share_of(const guide_cell& g, int32_t part)
{
    return uint32_t(g.upto[part]) - (part > 0 ? g.upto[part - 1] : 0u);
}

void bring_up_to_date(guide_cell& g)
{
    double sum = 0.0, upto = 0.0;
    for (const float light : g.light) { sum += light; }
    if (!(sum > 0.0)) { return; }
    for (int i = 0; i < guide_parts; ++i)
    {
        upto += g.light[i];
        g.upto[i] = uint16_t(upto / sum * all_shares + 0.5);
    }
    g.upto[guide_parts - 1] = all_shares;
    g.known = g.count;
}

} // namespace

int32_t guide_part_of(const vector3& d)
{
    const int row = std::clamp(int((d.z + 1.0) * (0.5 * guide_rows)), 0, guide_rows - 1);
    const double turn = std::atan2(d.y, d.x) * (0.5 * inverse_pi) + 0.5;
    return row * guide_columns + std::clamp(int(turn * guide_columns), 0, guide_columns - 1);
}

vector3 guided_direction(const guide_cell& g, double u, double v)
{
    const double at = u * all_shares;
    const auto part = int32_t(std::upper_bound(g.upto, g.upto + guide_parts - 1, at) - g.upto);
    const double before = part > 0 ? g.upto[part - 1] : 0.0;
    const double within = std::clamp((at - before) / std::max(share_of(g, part), 1u), 0.0, 1.0);
    const double z = (part / guide_columns + within) * (2.0 / guide_rows) - 1.0;
    const double turn = ((part % guide_columns + v) / guide_columns - 0.5) * (2.0 * pi);
    const double s = std::sqrt(std::fmax(1.0 - z * z, 0.0));
    return { s * std::cos(turn), s * std::sin(turn), z };
}

double guided_density(const guide_cell& g, const vector3& direction)
{
    return share_of(g, guide_part_of(direction)) / (all_shares * part_angle);
}

bool add_guide_deposits(cell_table<guide_cell>& guides, const guide_deposit* deposits, size_t count)
{
    bool failed = false;
    for (size_t i = 0; i < count && !failed; ++i)
    {
        const guide_deposit& d = deposits[i];
        if (d.part < 0 || !std::isfinite(d.light)) { continue; }
        guide_cell* g = guides.make(d.key, max_guides, failed);
        if (!g) { continue; }
        g->light[d.part] += d.light;
        ++g->count;
        if (g->count >= first_samples && g->count >= g->known + g->known / 4) { bring_up_to_date(*g); }
    }
    return !failed;
}

} // namespace zr
