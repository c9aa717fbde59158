// The audio file type of a command's output: named by --type or by the output's extension.
//
// The tool's names of the types it may write, with the extensions that select each:
//   wav  WAVE (.wav, .wave)    aiff AIFF (.aif, .aiff)    aifc AIFC (.aifc)
//   qs2  QSII (.qs2)           qs1  QSI (.qs1)
// A type is writable when its format row has a create entry (FF_AudioFileFormat); the others
// are refused with one line listing what can be written, so a new plug-in becomes writable by
// the tool by filling in its row and nothing here.
#pragma once

#include <string>
#include <vector>

#include "FF/Audio/FF_AudioTypes.h"

// The names --type accepts (all of them, writable or not: a refusal then says why).
const std::vector<std::string>& Tool_OutputTypeNames();

// The type of an output. iTypeName is the value of --type ("" when not given); iPath is the
// output's name ("" for an output named after its source in a folder). --type wins over
// iDefault; an extension that names a type must agree with --type. An extension of no known
// type, or a type that cannot be written, throws std::runtime_error naming iPath.
EAudioFileType Tool_OutputAudioType(const std::string& iPath, const std::string& iTypeName,
                                    EAudioFileType iDefault = eAudioFileType_WAVE);
