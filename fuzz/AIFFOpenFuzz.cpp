// Fuzz target: opening an AIFF or AIFC file and reading everything the front offers (see
// AudioFileFuzz.h); the instrument read resolves the loops of "INST" and "MARK". The seeds in
// fuzz/seeds/AIFFOpenFuzz/ are written by tests/FF/FF_AIFPlugInTest.cpp
// (InputsOpenAsTheyShouldAndReadSafelyAndAreTheFuzzSeeds, with MIRAFILE_WRITE_FUZZ_SEEDS set).
#include "AudioFileFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return OpenAndReadAll(data, size, eAudioFileType_AIFC, ".aif");
}
