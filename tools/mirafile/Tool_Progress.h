// What long sub-commands share: Ctrl-C turned into a flag, and a progress bar on a terminal.
#pragma once

#include <cstdint>
#include <string>

// Installs a SIGINT handler for its lifetime that only records the request; the command
// polls Tool_CancelRequested between steps and unwinds with Cmn_CancelException.
class Tool_StInterruptHandler
{
public:
    Tool_StInterruptHandler();
    ~Tool_StInterruptHandler();
    Tool_StInterruptHandler(const Tool_StInterruptHandler&) = delete;
    Tool_StInterruptHandler& operator=(const Tool_StInterruptHandler&) = delete;

private:
    struct Saved;
    Saved* mSavedP;
};

bool Tool_CancelRequested();

// A one-line bar on standard error, drawn only when standard error is a terminal and
// cleared when the bar goes away.
class Tool_ProgressBar
{
public:
    explicit Tool_ProgressBar(int64_t iTotal);
    ~Tool_ProgressBar() { Clear(); }
    Tool_ProgressBar(const Tool_ProgressBar&) = delete;
    Tool_ProgressBar& operator=(const Tool_ProgressBar&) = delete;

    void Show(int64_t iDone, const std::string& iName);
    void Clear();

private:
    const int64_t mTotal;
    const bool mShown;
};
