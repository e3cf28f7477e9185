#include "zirconlite/raytrace/solution.hpp"

namespace zr
{

solution_operations solution = {};

} // namespace zr
