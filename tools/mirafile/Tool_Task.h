// The one loop of the tool's background work: lazy objects of the browser run on its queue,
// slice by slice, with a progress bar and Ctrl-C.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

class BDM_LazyObject;

struct Tool_Task
{
    BDM_LazyObject* mObjectP;
    // Why it failed when the object gives no reason.
    std::string mFailure;
    // The text beside the bar while it is the first task not yet ended; empty: the object's
    // status message.
    std::function<std::string()> mLabel = {};
    // Told why, with the bar cleared, as soon as the task ends without loading (in the order
    // of the tasks).
    std::function<void(const std::string&)> mOnFailure = {};
};

// Hands each task to the browser's task manager and drives the queue until every task has
// ended (loaded, failed, or no longer queued). The bar's total is the sum of the tasks'
// units to complete (it grows as they find more work) and its count their units completed;
// none is drawn off a terminal. Between slices Ctrl-C (see Tool_StInterruptHandler, which the
// caller installs) cancels every task, clears the bar, calls iOnCancel (closing a bin
// uncommitted, say) and throws Cmn_CancelException (exit status 130). Returns per task,
// in order: nothing when it loaded, else one line why not (its exception's text, or its
// mFailure).
std::vector<std::optional<std::string>> Tool_RunTasks(const std::vector<Tool_Task>& iTasks,
                                                      const std::function<void()>& iOnCancel);

// The same for one task.
std::optional<std::string> Tool_RunTask(const Tool_Task& iTask,
                                        const std::function<void()>& iOnCancel);
