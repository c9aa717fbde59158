#include "Tool_Progress.h"

#include <algorithm>
#include <csignal>
#include <iostream>
#include <unistd.h>

namespace
{
volatile std::sig_atomic_t sCancelRequested = 0;

extern "C" void OnInterrupt(int)
{
    sCancelRequested = 1;
}
} // namespace

struct Tool_StInterruptHandler::Saved
{
    struct sigaction mOld = {};
};

Tool_StInterruptHandler::Tool_StInterruptHandler() : mSavedP(new Saved)
{
    sCancelRequested = 0;
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, &mSavedP->mOld);
}

Tool_StInterruptHandler::~Tool_StInterruptHandler()
{
    ::sigaction(SIGINT, &mSavedP->mOld, nullptr);
    delete mSavedP;
}

bool Tool_CancelRequested()
{
    return sCancelRequested != 0;
}

Tool_ProgressBar::Tool_ProgressBar(int64_t iTotal)
    : mTotal(iTotal), mShown(::isatty(STDERR_FILENO) == 1)
{
}

void Tool_ProgressBar::Show(int64_t iDone, const std::string& iName)
{
    if (!mShown)
        return;
    const int percent = mTotal > 0 ? int(std::min<int64_t>(100, iDone * 100 / mTotal)) : 100;
    const int width = 30, filled = percent * width / 100;
    std::string bar(size_t(filled), '=');
    bar.resize(size_t(width), ' ');
    std::cerr << "\r[" << bar << "] "
              << (percent < 10    ? "  "
                  : percent < 100 ? " "
                                  : "")
              << percent << "%  " << iName.substr(0, 40) << "\033[K" << std::flush;
}

void Tool_ProgressBar::Clear()
{
    if (mShown)
        std::cerr << "\r\033[K" << std::flush;
}
