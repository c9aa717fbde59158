// Fuzz target: opening a WAVE file and reading everything the front offers (see
// AudioFileFuzz.h). The seeds in fuzz/seeds/WAVEOpenFuzz/ are written by
// tests/FF/FF_WAVEPlugInTest.cpp (InputsOpenAsTheyShouldAndReadSafelyAndAreTheFuzzSeeds, with
// MIRAFILE_WRITE_FUZZ_SEEDS set).
#include "AudioFileFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return OpenAndReadAll(data, size, eAudioFileType_WAVE, ".wav");
}
