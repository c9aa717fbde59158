// mirafile copy SRC... DEST: copies files or folders through the library's batch processes.
//
// One source: DEST may be an existing folder (the copy goes into it under the source's
// name) or a new name. Several sources: DEST must be an existing folder. A name that is
// taken gets a new one (Sys_FileUtils::HandleDuplicateName: "Take.wav" -> "Take.1.wav");
// nothing is ever overwritten. Each copy runs by hand on this thread in slices of 50 ms;
// between slices the progress bar is drawn (only when standard error is a terminal) and
// Ctrl-C is looked at. The SIGINT handler only sets a flag: the main thread then aborts the
// running copy, the copy's StDeleteFiles removes what it had made, and the command ends with
// "mirafile: cancelled" and status 130. Copies that had already completed stay.
#include <atomic>
#include <csignal>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/FF_CopyFile.h"
#include "FF/FF_CopyFolder.h"
#include "Sys_FileUtils.h"
#include "Tool.h"
#include "Tool_Progress.h"

namespace
{
const char* const cUsage = "copy SRC... DEST [--step-size BYTES] [--json]";

struct CopyItem
{
    Sys_FileLoc mSource;
    Cmn_AliasedRefCountPtr<FF_BatchProcessConstructor> mConstructor;
    int64_t mBytes = 0;
    std::string mDestination; // once copied
};

// The bytes a running process has done, by its percentage.
int64_t BytesDone(const FF_BatchProcess& iProcess, int64_t iBytes)
{
    if (auto* fileP = dynamic_cast<const FF_CopyFileProcess*>(&iProcess))
        return fileP->GetBytesCopied();
    return iBytes * iProcess.GetPercentCompleted() / 100;
}

std::string DestinationOf(const FF_BatchProcess& iProcess)
{
    if (auto* fileP = dynamic_cast<const FF_CopyFileProcess*>(&iProcess))
        return fileP->GetDestination().GetFullPath();
    if (auto* folderP = dynamic_cast<const FF_CopyFolderProcess*>(&iProcess))
        return folderP->GetDestination().GetFullPath();
    return "";
}

// Runs one copy to its end; throws Cmn_CancelException on Ctrl-C (after the abort).
void RunCopy(CopyItem& ioItem, int64_t iDoneBefore, Tool_ProgressBar& ioBar)
{
    Sys_FileUtils::StDeleteFiles deleter;
    ioItem.mConstructor->SetFileDeleter(&deleter);
    FF_BatchProcess::BatchProcessHandle process = ioItem.mConstructor->CreateBatchProcess();
    ioItem.mConstructor->SetFileDeleter(nullptr);
    const std::string name = ioItem.mSource.GetName();
    auto show = [&] { ioBar.Show(iDoneBefore + BytesDone(*process, ioItem.mBytes), name); };
    // A cancel aborts the copy; the deleter removes what it made.
    const auto keepGoing = [&]
    {
        show();
        return !Tool_CancelRequested();
    };
    FF_AudioProcessUtils::RunProcessChainToEnd(process.Get(), keepGoing);
    show();
    if (Tool_CancelRequested()) // a step that could not be cut short has completed meanwhile
        throw Cmn_CancelException();
    ioItem.mDestination = DestinationOf(*process);
    deleter.Release();
}

struct
{
    std::vector<std::string> mPaths; // SRC... DEST
    int64_t mStepSize = Sys_FileUtils::FileCopier::cDefaultStepSize;
    bool mJson = false;
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("SRC DEST", sOptions.mPaths, "files or folders, then where they go");
    ioApp.add_option("--step-size", sOptions.mStepSize, "bytes copied in one step")
        ->check(Tool_WholeIn(1, int64_t(1) << 30, "must be between 1 and 1073741824 bytes",
                             Tool_Shown::eNothing));
    ioApp.add_flag("--json", sOptions.mJson, "one JSON document");
}

int RunCopyCommand()
{
    const std::vector<std::string>& positional = sOptions.mPaths;
    if (positional.size() < 2)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const int64_t stepSize = sOptions.mStepSize;

    const Sys_FileLoc dest(positional.back());
    const bool destIsFolder = Sys_FileUtils::Exists(dest) && Sys_FileUtils::IsFolder(dest);
    if (positional.size() > 2 && !destIsFolder)
        throw Tool_UsageError("\"" + dest.GetFullPath() +
                              "\" is not a folder; several sources need a destination folder");

    std::vector<CopyItem> items;
    int64_t totalBytes = 0;
    for (size_t i = 0; i + 1 < positional.size(); ++i)
    {
        CopyItem item;
        item.mSource = Sys_FileLoc(positional[i]);
        if (!Sys_FileUtils::Exists(item.mSource))
            throw std::runtime_error("\"" + positional[i] + "\": no such file or folder");
        const bool isFolder = Sys_FileUtils::IsFolder(item.mSource);
        if (isFolder && !destIsFolder && Sys_FileUtils::Exists(dest))
            throw std::runtime_error("\"" + dest.GetFullPath() +
                                     "\": a folder cannot be copied onto a file");
        if (isFolder && destIsFolder &&
            (dest.GetFullPath() + "/").rfind(item.mSource.GetFullPath() + "/", 0) == 0)
            throw std::runtime_error("\"" + positional[i] + "\": cannot copy a folder into itself");
        const Sys_FileLoc folder = destIsFolder ? dest : dest.GetParentFolder();
        const std::string newName = destIsFolder ? std::string() : dest.GetName();
        if (isFolder)
        {
            auto* constructorP = new FF_CopyFolderConstructor(item.mSource);
            constructorP->SetDstName(newName);
            item.mConstructor.Reset(constructorP);
        }
        else
        {
            auto* constructorP = new FF_CopyFileConstructor(item.mSource);
            constructorP->SetDstName(newName);
            constructorP->SetStepSize(int32_t(stepSize));
            item.mConstructor.Reset(constructorP);
        }
        item.mConstructor->SetDstFolderLoc(folder.IsEmpty() ? Sys_FileLoc(".") : folder);
        item.mBytes = item.mConstructor->GetUnitsToProcess();
        totalBytes += item.mBytes;
        items.push_back(std::move(item));
    }

    Tool_StInterruptHandler interruptHandler;
    {
        Tool_ProgressBar bar(totalBytes);
        int64_t doneBefore = 0;
        for (CopyItem& item : items)
        {
            RunCopy(item, doneBefore, bar);
            doneBefore += item.mBytes;
        }
    }

    if (sOptions.mJson)
    {
        Tool_Json doc;
        doc["bytes"] = totalBytes;
        doc["copies"] = Tool_Json::array();
        for (const CopyItem& item : items)
            doc["copies"].push_back(Tool_Json{{"source", item.mSource.GetFullPath()},
                                              {"destination", item.mDestination},
                                              {"bytes", item.mBytes}});
        std::cout << Tool_JsonText(doc) << "\n";
    }
    else
        for (const CopyItem& item : items)
            std::cout << "copied " << item.mSource.GetFullPath() << " -> " << item.mDestination
                      << "\n";
    return 0;
}

Tool_Registrar sRegistrar{{"copy", cUsage,
                           "copy files or folders; a name that is taken gets a new one", Declare,
                           RunCopyCommand}};
} // namespace
