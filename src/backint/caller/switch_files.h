// The three files through which an online backup tells BRBACKUP which files the mover is about to read, or is
// done with, and hears whether the database was switched for them. They lie in szSapBackup: `.switch.lis` and
// `.switch.sem`, which this program writes and BRBACKUP removes, and `.switch.log`, the other way round.
#pragma once

#include "backint/base/run_records.h"
#include "backint/caller/item_sources.h"

// Before the mover works on the files, and after it.
enum class SwitchTag { kBegin, kEnd };

// "#BEGIN" or "#END".
[[nodiscard]] const char* TagText(SwitchTag tag);

// Whether any of the three is there: another exchange is under way, or one was given up.
[[nodiscard]] bool SwitchFilesExist();

// Writes one line for each item into `.switch.lis` and then, when the list is whole and closed, makes
// `.switch.sem`. A failure, with its message traced, if one of them is there already or cannot be written to
// its last byte; a torn list is removed.
RunResult CreateSwitchFiles(const JobItems& items, SwitchTag tag);

// Waits until BRBACKUP has removed the semaphore. A failure after 1,800 seconds, or ten seconds after an
// interrupt; the files then stay, and standard error names them.
RunResult WaitForSwitchSemaphore();

// Copies the lines of `.switch.log` to the output, those about success excepted. A failure if one of them
// tells an error, which is copied all the same, or if not all of them could be read and copied.
RunResult ReadSwitchLog();

// A failure if the log cannot be deleted.
RunResult DeleteSwitchLog();
