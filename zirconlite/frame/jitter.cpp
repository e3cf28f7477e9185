#include "zirconlite/frame/jitter.hpp"

#include <cmath>

#include "zirconlite/platform/random.hpp"

namespace zr
{

namespace
{

constexpr int table_size = 1024;
constexpr uint32_t table_mask = table_size - 1;
constexpr double unit_of_short = 3.051850947599719e-5; // 1 / 32767

float jitter_x[table_size], jitter_y[table_size];
uint32_t jitter_index[table_size];
bool random_tables_ready = false;

uint32_t cell_of(double key);

} // namespace

void fill_random_tables()
{
    if (random_tables_ready) { return; }
    platform::srand15(600);
    for (int i = 0; i < table_size; ++i)
    {
        jitter_x[i] = float(platform::rand15() * unit_of_short - 0.5);
        jitter_y[i] = float(platform::rand15() * unit_of_short - 0.5);
        jitter_index[i] = uint32_t(platform::rand15()) & table_mask;
    }
    random_tables_ready = true;
}

void table_jitter(const double key[2], const double amplitude[2], double result[2])
{
    const uint32_t a = cell_of(key[0]), b = cell_of(key[1]);
    result[0] = jitter_x[(jitter_index[a & table_mask] + 4 * b + a) & table_mask] * amplitude[0];
    result[1] = jitter_y[(jitter_index[b & table_mask] + 4 * a + b) & table_mask] * amplitude[1];
}

namespace
{

/// trunc(key x 5) as 32 bits in two's complement; keys beyond their range wrap.
uint32_t cell_of(double key)
{
    const double scaled = key * 5.0;
    if (!(std::fabs(scaled) < 9e18)) { return 0; }
    return uint32_t(int64_t(scaled));
}

} // namespace

} // namespace zr
