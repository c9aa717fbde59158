// How a batch process may ask the person something. The asking side (the application, the
// tool) implements it and decides how to answer; nothing in the library calls it yet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class FF_BatchProcessUserInput
{
public:
    virtual ~FF_BatchProcessUserInput() = default;
    // True for yes. Called on the owner's thread.
    virtual bool AskYesNo(const std::string& iQuestion) = 0;
    // The index of the chosen answer in iChoices, or -1 for none.
    virtual int32_t AskChoice(const std::string& iQuestion,
                              const std::vector<std::string>& iChoices) = 0;
};
