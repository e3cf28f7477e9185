/// @file
/// A folder that lives as long as a test, and paths in it as the library takes them.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

struct temporary_folder
{
    temporary_folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "zirconlite-test-XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    /// `name` in the folder, with "/" between.
    std::u16string wide(const std::string& name = "") const { return (path / name).u16string(); }

    void write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories((path / name).parent_path());
        std::ofstream(path / name, std::ios::binary) << content;
    }

    std::string read(const std::string& name) const
    {
        std::ifstream in(path / name, std::ios::binary);
        return { std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>() };
    }

    std::filesystem::path path;
};
