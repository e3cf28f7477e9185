// The saved inputs of the fuzz targets, each through its reader: as they are, cut and damaged at every byte.
#include "fuzz/readers.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <vector>

namespace
{

/// From a block of its own, so that the address checks see a read behind it.
void read_exact(const fuzz::reader_row& reader, const std::vector<char>& file, size_t size)
{
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[size]);
    std::copy_n(file.begin(), size, exact.get());
    reader.read(exact.get(), size);
}

void read_damaged(const fuzz::reader_row& reader, std::vector<char> file)
{
    for (size_t size = 0; size < file.size(); ++size) { read_exact(reader, file, size); }
    for (char& byte : file)
    {
        const char whole = byte;
        for (const int flip : { 0x01, 0x80, 0xFF })
        {
            byte = char(whole ^ flip);
            read_exact(reader, file, file.size());
        }
        byte = whole;
    }
}

} // namespace

TEST(FuzzCorpus, EveryInputIsReadOrRefusedWholeCutAndDamaged)
{
    const std::filesystem::path corpus = ZIRCONLITE_SOURCE_DIR "/fuzz/corpus";
    std::set<std::string> without_reader;
    for (const auto& folder : std::filesystem::directory_iterator(corpus))
    {
        without_reader.insert(folder.path().filename().string());
    }
    for (const fuzz::reader_row& reader : fuzz::readers)
    {
        without_reader.erase(reader.name);
        size_t inputs = 0;
        for (const auto& input : std::filesystem::directory_iterator(corpus / reader.name))
        {
            SCOPED_TRACE(input.path());
            std::ifstream in(input.path(), std::ios::binary);
            const std::vector<char> file{ std::istreambuf_iterator<char>(in), {} };
            read_exact(reader, file, file.size());
            // What the fuzzer found is damaged as it is.
            if (file.size() < 2500 && input.path().has_extension()) { read_damaged(reader, file); }
            ++inputs;
        }
        EXPECT_GT(inputs, 0u) << reader.name;
    }
    EXPECT_TRUE(without_reader.empty()) << *without_reader.begin() << " has inputs and no reader";
}
