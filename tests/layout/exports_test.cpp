/// @file
/// The public headers, the version script and the library agree on what is exported, and each header
/// compiles alone in both languages.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <set>

#include "tests/layout/source_tree.hpp"

namespace
{

using names = std::set<std::string>;

std::string output_of(const std::string& command)
{
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    char bytes[4096];
    for (size_t n; pipe && (n = fread(bytes, 1, sizeof(bytes), pipe)) > 0;) { text.append(bytes, n); }
    if (pipe) { pclose(pipe); }
    return text;
}

names matches(const std::string& text, const std::string& pattern)
{
    const std::regex expression(pattern);
    names found;
    for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it)
    {
        found.insert((*it)[1]);
    }
    return found;
}

/// Names behind ZR_API in a header. A declaration ends before its parameters.
names declared_in(const std::string& path)
{
    std::string text = read_text(std::string(ZIRCONLITE_SOURCE_DIR) + "/" + path);
    text = std::regex_replace(text, std::regex("/\\*[^*]*\\*+(?:[^/*][^*]*\\*+)*/|#define ZR_API[^\n]*"), "");
    return matches(text, "\\bZR_API\\b[^;(]*?\\b([A-Za-z_]\\w*)\\s*[(;\\[]");
}

names declared_in_headers()
{
    names all;
    for (const std::string& path : files_below("zirconlite", { ".h" })) { all.merge(declared_in(path)); }
    return all;
}

names in_version_script()
{
    std::string text = read_text(std::string(ZIRCONLITE_SOURCE_DIR) + "/zirconlite/exports.map");
    text = std::regex_replace(text, std::regex("/\\*[^*]*\\*/"), "");
    return matches(text, "(?:^|\n)\\s+([A-Za-z_]\\w*);");
}

names exported_by_library()
{
    return matches(
        output_of(std::string(NM) + " -D --defined-only " LIBRARY_FILE), " [TDBRV] (\\w+)@@?ZIRCONLITE");
}

std::string difference(const names& a, const names& b)
{
    std::string text;
    for (const std::string& name : a)
    {
        if (!b.count(name)) { text += name + " "; }
    }
    return text;
}

} // namespace

TEST(Exports, HeadersScriptAndLibraryAgree)
{
    const names declared = declared_in_headers(), script = in_version_script(),
                library = exported_by_library();
    ASSERT_GT(declared.size(), 50u);
    EXPECT_EQ(difference(declared, script), "") << "declared, but not in exports.map";
    EXPECT_EQ(difference(script, declared), "") << "in exports.map, but declared in no header";
    EXPECT_EQ(difference(declared, library), "") << "declared, but not exported";
    EXPECT_EQ(difference(library, declared), "") << "exported, but declared in no header";
}

TEST(Library, RunsNoCodeOfItsOwnWhenItIsLoaded)
{
    const std::string symbols = output_of(NM " -C " LIBRARY_FILE);
    ASSERT_NE(symbols.find("zr_init_ex"), std::string::npos);
    // The compiler's name for the static initialisers of a file; those of sanitizers begin with a number.
    EXPECT_EQ(matches(symbols, "_GLOBAL__sub_I_([a-z]\\w*)"), names{});
}

TEST(PublicHeaders, EachCompilesAloneInBothLanguages)
{
    const std::string warnings =
        " -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I" ZIRCONLITE_SOURCE_DIR " -x ";
    const std::vector<std::string> headers = files_below("zirconlite", { ".h" });
    ASSERT_GT(headers.size(), 10u);
    for (const std::string& path : headers)
    {
        SCOPED_TRACE(path);
        const std::string source = "echo '#include \"" + path + "\"' | ";
        EXPECT_EQ(output_of(source + C_COMPILER " -std=c11" + warnings + "c - 2>&1"), "");
        EXPECT_EQ(output_of(source + CXX_COMPILER " -std=c++20" + warnings + "c++ - 2>&1"), "");
    }
}
