/// @file
/// The bytes in which the importing child hands a model to its parent. The parent trusts nothing in them:
/// every count is compared with the bytes that are left before anything is reserved.
#pragma once

#include "host/models/model.hpp"

#include <cstddef>

namespace host
{

/// What a child answers.
enum class import_result : uint32_t
{
    model = 0,   ///< a model follows
    refused = 1, ///< a text says why the file cannot be read
    memory = 2   ///< the memory limit was reached
};

/// Little-endian bytes, growing.
struct byte_writer
{
    std::vector<unsigned char> bytes;
    void u32(uint32_t v);
    void u64(uint64_t v);
    void f32(float v);
    void f64(double v);
    void text(const std::string& t);
};

/// Reads little-endian values; after the first read past the end every read gives 0 and `ok` is false.
struct byte_reader
{
    const unsigned char* bytes;
    size_t size;
    size_t at = 0;
    bool ok = true;

    bool has(uint64_t count);
    uint32_t u32();
    uint64_t u64();
    float f32();
    double f64();
    std::string text(uint32_t limit);
};

/// Writes a model as an answer.
void write_model(byte_writer& out, const model& m);

/// Writes a failed answer with its reason.
void write_refusal(byte_writer& out, import_result result, const std::string& reason);

/// Reads an answer. On `model` fills `m`; else `reason`. False when the bytes are damaged; `reason` then
/// says how.
bool read_answer(byte_reader& in, import_result& result, model& m, std::string& reason);

} // namespace host
