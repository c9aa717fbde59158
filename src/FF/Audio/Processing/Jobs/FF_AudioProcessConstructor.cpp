#include "FF/Audio/Processing/Jobs/FF_AudioProcessConstructor.h"

FF_AudioProcessConstructor::FF_AudioProcessConstructor() = default;

FF_AudioProcessConstructor::~FF_AudioProcessConstructor() = default;
