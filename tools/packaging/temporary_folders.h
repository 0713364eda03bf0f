/// Folders that are to be gone when the program is, also when a signal ends it.
///
/// Whoever makes one here removes it here. Any thread may call these functions.
#ifndef PACKAGING_TEMPORARY_FOLDERS_H
#define PACKAGING_TEMPORARY_FOLDERS_H

#include <sys/types.h>

#include <functional>
#include <string>

namespace packaging {

/// From here on SIGINT, SIGTERM and SIGHUP, unless they were ignored at the start, end the program
/// only when its folders have been removed. To be called once, before the process has threads: it
/// starts one. False when there can be none; the signals then act as usual.
bool removeFoldersOnSignals();

/// Undoes that in a forked process, where that thread is not there, and lets it end with its
/// parent.
void leaveFoldersToParent();

/// Starts a child that is to be killed before the folders are removed, because it writes into them
/// or works for nobody then; with its whole process group, where it leads one. No signal ends this
/// process between its start and that. `start` gives its process id, or none above 0 when there is
/// no child; so does this, in a forked child, too.
pid_t startKilledBeforeRemoval(const std::function<pid_t()>& start);
/// Forgets that child, which has ended.
void forgetKilledBeforeRemoval();

/// mkdtemp(3). False with errno.
[[nodiscard]] bool makeTemporaryFolder(std::string& pattern);

/// A line about a folder that could not be made in `parent`, with errno as it is; about the
/// variable TMPDIR where that is why there is no parent, which is empty then.
[[nodiscard]] std::string temporaryFolderProblem(const std::string& parent);

void removeTemporaryFolder(const std::string& path);

/// Does what makes folders below such a one, together with those above them where they are missing:
/// no signal removes any meanwhile, or lets it begin once they are removed. For what is soon done.
void whileFoldersStay(const std::function<void()>& body);

/// rename(2), which is either done or not when a signal ends the program. False with errno.
[[nodiscard]] bool moveOut(const std::string& from, const std::string& to);

}  // namespace packaging

#endif  // PACKAGING_TEMPORARY_FOLDERS_H
