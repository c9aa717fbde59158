// The IO benchmarks of AudioIOBench.h over a WAVE file (little-endian samples).
#include "FF/Audio/FF_AudioTypes.h"

namespace
{
constexpr EAudioFileType cBenchType = eAudioFileType_WAVE;
constexpr const char* cBenchExtension = ".wav";
constexpr EByteOrder cFileOrder = eByteOrder_Little;
} // namespace

#include "AudioIOBench.h"
