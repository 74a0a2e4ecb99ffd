#pragma once

#include <functional>

namespace kelvane::testing {

/// How a child process came to its end.
enum class ChildEnd {
    /// It was killed before its step.
    killed,
    /// Its work was done, in fewer steps, and answered true.
    done,
    /// Its work answered false, or the child crashed.
    failed,
    /// This system lets no process watch another.
    notPermitted,
};

/// Runs `work` in a child process and kills it (SIGKILL) at its n-th call of the system, counted from 1, that makes,
/// writes, renames, syncs or removes a file or a folder: that call is the first that isn't carried out. Called while
/// the process has one thread.
ChildEnd killAtFileOperation(int n, const std::function<bool()>& work);

}  // namespace kelvane::testing
