// The three files of an online backup, in szSapBackup. Through them this program tells BRBACKUP which files
// the mover is going to read, or has read, and learns whether the database was switched for them. This
// program writes `.switch.lis` and `.switch.sem`, and BRBACKUP removes them; with `.switch.log` it is the
// other way round.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// Before the mover works on the files, and after it.
enum class SwitchTag { kBegin, kEnd };

// Whether one of the three files exists: another exchange is running, or one was given up.
[[nodiscard]] bool SwitchFilesExist();

// Writes one line for each item to `.switch.lis`. When the list is complete and closed, creates
// `.switch.sem`. A failure, which is traced, if one of the two exists already or cannot be written
// completely; an incomplete list is removed.
RunResult CreateSwitchFiles(const JobItems& items, SwitchTag tag);

// Waits until BRBACKUP has removed the semaphore. A failure after 1,800 seconds, or ten seconds after an
// interrupt; the files then stay, and standard error names them.
RunResult WaitForSwitchSemaphore();

// Copies the lines of `.switch.log` to the output, except those that report success. A failure if a line
// reports an error (it is copied all the same), or if not all lines can be read and copied.
RunResult ReadSwitchLog();

// A failure if the log cannot be deleted.
RunResult DeleteSwitchLog();
