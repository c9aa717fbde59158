// Helpers of the tests that check files against other programs (sox).
#pragma once

#include <string>

#include "Support/ByteSupport.h"

// Whether sox is on the PATH.
bool Test_HaveSox();

// Runs a shell command with its output thrown away; its exit status.
int Test_RunQuiet(const std::string& iCommand);

// The samples of a file as sox decodes them: signed, little-endian, iBits wide. A failure to
// decode is a test failure (and gives no bytes). The decoded file goes in iScratch.
Bytes Test_SoxRaw(const std::string& iPath, int iBits, const std::string& iScratch);
