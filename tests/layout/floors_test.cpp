/// @file
/// Every file of the library has a floor, and includes only its own floor and those below.
#include <gtest/gtest.h>

#include <map>
#include <regex>

#include "tests/layout/source_tree.hpp"

namespace
{

std::map<std::string, int> read_floors()
{
    std::map<std::string, int> floors;
    std::istringstream lines(read_text(std::string(ZIRCONLITE_SOURCE_DIR) + "/tests/floors.txt"));
    std::string path;
    for (int floor; lines >> path >> floor;) { floors[path] = floor; }
    return floors;
}

} // namespace

TEST(Floors, EachIncludeStaysOnItsFloorOrBelow)
{
    const std::map<std::string, int> floors = read_floors();
    const std::regex include("(?:^|\n)[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\"");
    int includes = 0;
    std::vector<std::string> files = files_below("zirconlite", { ".h", ".hpp", ".cpp" });
    for (const std::string& path : files)
    {
        const auto own = floors.find(path);
        if (own == floors.end())
        {
            ADD_FAILURE() << path << " has no floor in tests/floors.txt";
            continue;
        }
        const std::string text = read_text(std::string(ZIRCONLITE_SOURCE_DIR) + "/" + path);
        for (std::sregex_iterator it(text.begin(), text.end(), include), end; it != end; ++it, ++includes)
        {
            const auto other = floors.find((*it)[1]);
            if (other == floors.end())
            {
                ADD_FAILURE() << path << " includes " << (*it)[1] << ", which has no floor";
            }
            else if (other->second > own->second)
            {
                ADD_FAILURE() << path << " (floor " << own->second << ") includes " << other->first
                              << " (floor " << other->second << ")";
            }
        }
    }
    EXPECT_GT(includes, 100) << "the include lines were not understood";
}

TEST(Floors, TheListNamesNoFileThatIsGone)
{
    for (const auto& [path, floor] : read_floors())
    {
        EXPECT_TRUE(std::filesystem::exists(std::string(ZIRCONLITE_SOURCE_DIR) + "/" + path)) << path;
        EXPECT_TRUE(floor >= 0 && floor <= 8) << path;
    }
}
