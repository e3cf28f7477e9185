/// @file
/// The map of the house is that of the house: its rooms, their floors, the files and pages that it names.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "tests/layout/source_tree.hpp"

namespace
{

const std::string root = std::string(ZIRCONLITE_SOURCE_DIR) + "/";

std::vector<std::string> found(const std::string& text, const char* pattern, int group)
{
    const std::regex expression(pattern);
    std::vector<std::string> all;
    for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it)
    {
        all.push_back((*it)[size_t(group)]);
    }
    return all;
}

} // namespace

TEST(Map, GivesEachRoomItsFloors)
{
    std::map<std::string, std::set<int>> floors;
    std::istringstream lines(read_text(root + "tests/floors.txt"));
    std::string path;
    for (int floor; lines >> path >> floor;)
    {
        const std::string room = path.substr(path.find('/') + 1);
        if (room.find('/') != std::string::npos) { floors[room.substr(0, room.find('/'))].insert(floor); }
    }
    const std::string map = read_text(root + "docs/architecture.md");
    for (const auto& [room, own] : floors)
    {
        SCOPED_TRACE(room);
        const auto row = found(map, ("\n\\| `" + room + "` \\| ([^|]*) \\|").c_str(), 1);
        ASSERT_EQ(row.size(), 1u) << "has no row in docs/architecture.md";
        const auto ends = found(row[0], "\\d+", 0);
        EXPECT_EQ(std::stoi(ends.front()), *own.begin());
        EXPECT_EQ(std::stoi(ends.back()), *own.rbegin());
    }
    EXPECT_EQ(found(map, "\n\\| `\\w+` \\| \\d", 0).size(), floors.size()) << "names a room that is gone";
}

TEST(Map, NamesFilesThatAreThere)
{
    std::vector<std::string> files = files_below("zirconlite", { ".h", ".hpp", ".cpp" });
    for (const std::string& path : files_below("host", { ".hpp", ".cpp" })) { files.push_back(path); }
    for (const char* page : { "docs/architecture.md", "CONTRIBUTING.md" })
    {
        const auto names = found(read_text(root + page), "`((?:\\w+/)*\\w+\\.(?:cpp|hpp|h))`", 1);
        EXPECT_GT(names.size(), 1u) << page;
        for (const std::string& name : names)
        {
            EXPECT_TRUE(std::any_of(files.begin(), files.end(),
                [&](const std::string& path) { return ("/" + path).ends_with("/" + name); }))
                << page << " names " << name;
        }
    }
}

TEST(Map, ListsEveryPageInTheReadme)
{
    const std::string readme = read_text(root + "README.md");
    for (const std::string& path : files_below("docs", { ".md" }))
    {
        if (path == "docs/reference.md") { continue; } // the first page of the generated reference
        EXPECT_NE(readme.find("(" + path + ")"), std::string::npos) << path << " is in no list of README.md";
    }
    for (const std::string& link : found(readme, "\\]\\(([^)#:]+)\\)", 1))
    {
        EXPECT_TRUE(std::filesystem::exists(root + link)) << "README.md links to " << link;
    }
}
