// The seeds of the fuzz targets, written by the tests that make them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Support/ByteSupport.h"

// Writes the seeds of fuzz/<iTarget>.cpp when MIRAFILE_WRITE_FUZZ_SEEDS names a folder, and,
// with MIRAFILE_SOURCE_DIR set, checks that fuzz/seeds/<iTarget>/ holds them as they are.
void Test_CheckFuzzSeeds(const std::string& iTarget,
                         const std::vector<std::pair<std::string, Bytes>>& iSeeds);
