// Bytes for the tests: reproducible patterns, and files written and read without the
// library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

using Bytes = std::vector<unsigned char>;

// iCount reproducible pseudo-random bytes; the same seed gives the same prefix at any size.
Bytes Pattern(size_t iCount, uint32_t iSeed = 1);

// Bytes or text (any contiguous container of chars or bytes) as the whole of a file.
template <class Data>
    requires requires(const Data& iData) { iData.data(), iData.size(); }
void WriteBytes(const std::string& iPath, const Data& iData)
{
    std::ofstream(iPath, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(iData.data()), std::streamsize(iData.size()));
}

inline void WriteBytes(const std::string& iPath, std::string_view iText)
{
    WriteBytes<std::string_view>(iPath, iText);
}

// The whole of a file ("" or no bytes when it cannot be read).
template <class Data = Bytes> Data ReadBytes(const std::string& iPath)
{
    std::ifstream in(iPath, std::ios::binary);
    return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
