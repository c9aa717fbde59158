// Fuzz target: parsing an AppleDouble sidecar (Sys_AppleDouble) from memory.
//
// The input is the sidecar. Its descriptors and contents are parsed; contents that parse are
// laid out again, and the new image must parse to the same Finder information and fork. The
// seeds in fuzz/seeds/AppleDoubleFuzz/ are written by tests/Sys/Sys_AppleDoubleTest.cpp and
// tests/FF/FF_QSPlugInTest.cpp (run with MIRAFILE_WRITE_FUZZ_SEEDS=fuzz/seeds).
//
// The parser throws nothing: any exception, a crash or a huge allocation is a finding.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Sys_AppleDouble.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<Sys_AppleDouble::Entry> entries;
    if (size >= size_t(Sys_AppleDouble::cHeaderSize))
        Sys_AppleDouble::ParseEntries(data, Sys_AppleDouble::HeadSize(data, int64_t(size)),
                                      int64_t(size), &entries);
    for (const Sys_AppleDouble::Entry& entry : entries)
        if (uint64_t(entry.mOffset) + entry.mLength > size)
            std::abort(); // an entry must lie inside the image
    Sys_AppleDouble::Contents contents;
    if (!Sys_AppleDouble::Parse(data, size, &contents))
        return 0;
    const std::vector<uint8_t> image = Sys_AppleDouble::Build(contents);
    Sys_AppleDouble::Contents again;
    if (!Sys_AppleDouble::Parse(image.data(), image.size(), &again) ||
        again.mResourceFork != contents.mResourceFork ||
        again.mFinderInfo != contents.mFinderInfo)
        std::abort();
    return 0;
}
