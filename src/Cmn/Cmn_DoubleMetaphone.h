// Phonetic codes of a word by the Double Metaphone rules.
//
// Contract:
//  - The text is read as bytes of UTF-8 (or plain ASCII); ASCII letters are taken without
//    regard to case, "Ç"/"ç" count as the rules' C-cedilla and "Ñ"/"ñ" as their N-tilde;
//    every other byte (digits, punctuation, other letters) is passed over, though a blank
//    still separates the prefixes "VAN ", "VON ", "SAN " that some rules look for.
//  - The primary code is at most four characters from "0AFHJKLMNPRSTX" ("0" is the "th"
//    sound). The alternate code is the second pronunciation of the same word; it is empty
//    when the rules give none, or when it comes out the same as the primary.
//  - An empty text gives two empty codes. Never throws; any thread may call it.
#pragma once

#include <string>

void Cmn_EncodeDoubleMetaphone(const std::string& iText, std::string* oPrimary,
                               std::string* oAlternate);
