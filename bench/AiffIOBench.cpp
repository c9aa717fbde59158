// The IO benchmarks of AudioIOBench.h over an AIFF file (big-endian samples).
#include "FF/Audio/FF_AudioTypes.h"

namespace
{
constexpr EAudioFileType cBenchType = eAudioFileType_AIFF;
constexpr const char* cBenchExtension = ".aif";
constexpr EByteOrder cFileOrder = eByteOrder_Big;
} // namespace

#include "AudioIOBench.h"
