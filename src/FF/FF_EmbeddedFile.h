// A file over a byte range of a larger file: position 0 is iOffset of the outer file.
//
// Contract:
//  - The range runs from iOffset for iLength bytes, or to the outer file's end when iLength
//    is -1. GetEOF is the range's length, cut at the outer file's end.
//  - Reads stop at the end of the range. Writes that would run past a bounded range are cut
//    there (the bytes behind it belong to someone else); SetEOF grows or cuts the outer file
//    only for an unbounded range and fails the assertion "mLength < 0" otherwise.
//  - Async requests are shifted by the offset; the params' position is put back once issued.
//  - One thread at a time, as for any Sys_File.
#pragma once

#include <cstdint>

#include "Sys_File.h"

class FF_EmbeddedFile : public Sys_File
{
public:
    FF_EmbeddedFile(const Sys_FileLoc& iOuterLoc, int64_t iOffset, int64_t iLength = -1);

    int64_t GetOffset() const;
    int64_t GetLength() const;
    // A new length (-1: to the end of the outer file).
    void SetLength(int64_t iLength);
};
