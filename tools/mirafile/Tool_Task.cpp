#include "Tool_Task.h"

#include <algorithm>
#include <exception>

#include "BDM/BDM_Globals.h"
#include "BDM/BDM_TaskManager.h"
#include "Cmn_Exception.h"
#include "Tool_Progress.h"

namespace
{
bool Ended(const BDM_LazyObject& iObject)
{
    return iObject.IsLoaded() || iObject.LoadFailed() || !iObject.IsQueued();
}

std::optional<std::string> Outcome(const Tool_Task& iTask)
{
    if (iTask.mObjectP->IsLoaded())
        return std::nullopt;
    std::string text = iTask.mFailure;
    try
    {
        iTask.mObjectP->ThrowIfLoadFailed();
    }
    catch (const std::exception& e)
    {
        text = e.what();
    }
    return text;
}
} // namespace

std::vector<std::optional<std::string>> Tool_RunTasks(const std::vector<Tool_Task>& iTasks,
                                                      const std::function<void()>& iOnCancel)
{
    BDM_Globals& globals = *BDM_Globals::Instance();
    for (const Tool_Task& task : iTasks)
        globals.TaskManager().ManageTask(task.mObjectP, task.mObjectP->GetStatusMessage());
    std::unique_ptr<Tool_ProgressBar> bar;
    int64_t shownTotal = 0;
    size_t next = 0; // the first task not yet ended
    while (next < iTasks.size())
    {
        if (Tool_CancelRequested())
        {
            for (const Tool_Task& task : iTasks)
                task.mObjectP->CancelLoading();
            bar.reset();
            if (iOnCancel)
                iOnCancel();
            throw Cmn_CancelException();
        }
        globals.Queue().ExecuteForSlice();
        for (; next < iTasks.size() && Ended(*iTasks[next].mObjectP); ++next)
        {
            const std::optional<std::string> failure = Outcome(iTasks[next]);
            if (failure && iTasks[next].mOnFailure)
            {
                bar.reset();
                iTasks[next].mOnFailure(*failure);
            }
        }
        if (next == iTasks.size())
            break;
        BDM_TaskProgress sum{};
        for (const Tool_Task& task : iTasks)
        {
            const BDM_TaskProgress progress = task.mObjectP->GetProgress();
            sum.mUnitsToComplete += progress.mUnitsToComplete;
            sum.mUnitsCompleted += progress.mUnitsCompleted;
        }
        if (!bar || sum.mUnitsToComplete > shownTotal)
        {
            bar.reset(); // a bar keeps its total
            shownTotal = std::max<int64_t>(sum.mUnitsToComplete, 1);
            bar.reset(new Tool_ProgressBar(shownTotal));
        }
        const Tool_Task& current = iTasks[next];
        bar->Show(sum.mUnitsCompleted,
                  current.mLabel ? current.mLabel() : current.mObjectP->GetStatusMessage());
    }
    bar.reset();
    std::vector<std::optional<std::string>> outcomes;
    for (const Tool_Task& task : iTasks)
        outcomes.push_back(Outcome(task));
    return outcomes;
}

std::optional<std::string> Tool_RunTask(const Tool_Task& iTask,
                                        const std::function<void()>& iOnCancel)
{
    return Tool_RunTasks({iTask}, iOnCancel).front();
}
