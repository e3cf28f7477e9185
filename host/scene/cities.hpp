/// @file
/// Places that a scene or the command line may name.
#pragma once

#include <string>

namespace host
{

struct city
{
    const char* name;
    double latitude, longitude; ///< degrees, north and east positive
    int zone_minutes;           ///< standard time less universal time
};

/// In the order of their names; ends with a null name.
extern const city cities[];

/// The city of this name, in any case; null for none.
const city* find_city(const std::string& name);

/// The name most like `wrong`; null when none is near.
const char* nearest_city(const std::string& wrong);

} // namespace host
