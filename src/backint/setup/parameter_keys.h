// The keys of the parameter file. The reader takes names and limits from this list. A test compares the
// reference and the manual page with it, so a new key is added here first.
#pragma once

#include <array>
#include <string>

#include "backint/base/run_records.h"

struct ParameterKey {
  const char* name;
  std::size_t limit;                // of the value, in characters; 0: none
  std::string SessionData::*field;  // where the value goes; null if it goes elsewhere
  const char* without;              // what happens without the key, for the documents
  const char* meaning;              // for the documents
};

inline constexpr std::array<ParameterKey, 17> kParameterKeys{{
    {"KORVO_SERVER", kServerWidth, &SessionData::szServer, "an error",
     "The backup server. Its limit includes port, user and password."},
    {"KORVO_JOB", kJobNameWidth, &SessionData::szJobName, "an error", "The name of the job."},
    {"KORVO_POOL", kJobNameWidth, &SessionData::szPool, "an error", "The media pool."},
    {"KORVO_TAPESERVER", kDriveWidth, &SessionData::szTapeServer, "none", "The tape server."},
    {"KORVO_TAPE", kDriveWidth, &SessionData::szParTape, "none", "The tape."},
    {"KORVO_DRIVE", kDriveWidth, &SessionData::szParDrive, "none", "The drive."},
    {"USERNAME", kLoginPartWidth, &SessionData::szUserName, "none", "The user on the server."},
    {"PASSWORD", kLoginPartWidth, &SessionData::szPassword, "none", "The password of that user."},
    {"PORT", kLoginPartWidth, &SessionData::szPort, "none", "The port of the server."},
    {"XFR", kToolPathWidth, &SessionData::szXfrPath, "xfr.exe in the install directory", "The data mover."},
    {"XFR_COM_INTERFACE", kToolPathWidth, &SessionData::szComInterfacePath,
     "xfr_com_interface.exe in the install directory", "The control tool."},
    {"KORVO_RAW_UTIL", kPathWidth, &SessionData::szRawUtil, "xfr_raw_backup.sh in the install directory",
     "Never started. Set it to none, or the install directory must be known."},
    {"SAVESET_SIZE", kSavesetSizeWidth, nullptr, "50000",
     "The largest saveset in megabytes. 0 gives each file a saveset of its own."},
    {"DIRECTORY_XFR_USE", 0, nullptr, "NO",
     "YES: directories go to the data mover whole, not only their first level."},
    {"BI_TRACE_LEVEL", 0, nullptr, "3",
     "What the trace shows: 0 nothing, 1 errors, 2 warnings too, 3 everything."},
    {"XFR_TRACE_LEVEL", kTraceLevelWidth, &SessionData::szXfrTraceLevel, "2",
     "The trace level of the data mover. Anything that is not a number of 2 or more becomes 2."},
    {"XFR_COM_TRACE_LEVEL", kTraceLevelWidth, &SessionData::szComTraceLevel, "2",
     "The trace level of the control tool."},
}};
