// What a run was told by its caller, by the parameter file and by the backup server. A process has one of
// each record. The data that a step works on is not in them: it goes from function to function.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// How a step ended. The numbers are also the program's exit status.
enum class [[nodiscard]] RunResult : std::int32_t{kSuccess = 0, kWarnings = 1, kFailure = 2};

// Combines the result of a step with that of the run: the worse one remains.
void FoldResult(RunResult& stored, RunResult next);

constexpr int NumberOf(RunResult result) { return static_cast<int>(result); }

// The result as a number for the server, when a job or session is closed: 0 good, 1 warnings, 3 errors.
constexpr std::int32_t StateOf(RunResult result) {
  return result == RunResult::kFailure ? 3 : static_cast<std::int32_t>(result);
}

// The longest values, in characters. They are checked where a value enters the run; after that, nothing is
// cut.
inline constexpr std::size_t kOptionWidth = 63;        // -u, -f, -t
inline constexpr std::size_t kPathWidth = 20479;       // -p, -i, -o, an item, a line of the mover
inline constexpr std::size_t kSidWidth = 15;           // ORACLE_SID
inline constexpr std::size_t kEchoWidth = 2047;        // an environment variable with its label
inline constexpr std::size_t kSavesetSizeWidth = 31;   // SAVESET_SIZE
inline constexpr std::size_t kBackupIdWidth = 31;      // a saveset's name up to its "@"
inline constexpr std::size_t kTapeServerWidth = 1023;  // reply value TAPE_SERVER
inline constexpr std::size_t kJobNameWidth = 27;       // job or pool: "-j %s " must fit into 31
inline constexpr std::size_t kLoginPartWidth = 31;     // USERNAME, PASSWORD, PORT
inline constexpr std::size_t kSessionIdWidth = 15;     // reply value SESSIONID
inline constexpr std::size_t kSegmentWidth = 11;       // "-n %s " must fit into 15
inline constexpr std::size_t kTraceLevelWidth = 15;    // the tools' trace levels
inline constexpr std::size_t kDriveWidth = 59;         // drive, tape, tape server: "-d %s " must fit into 63
inline constexpr std::size_t kServerWidth = 63;        // the server with port, user and password
inline constexpr std::size_t kToolPathWidth = 63;      // XFR, XFR_COM_INTERFACE
inline constexpr std::size_t kSavesetNameWidth = 63;   // a saveset's whole name
inline constexpr std::size_t kCommandWidth = 2047;     // a composed command line
inline constexpr std::size_t kReplyLineWidth = 2047;   // a line of the control tool, of the parameter file
inline constexpr std::size_t kShortCommandWidth = 1024;  // a mover's command with its items on it
inline constexpr std::size_t kShownListWidth = 920;      // a joined list of this length or more is not traced
inline constexpr std::size_t kShownMessageWidth = 1500;  // what the trace shows of a message

// What the caller told the program.
struct BackintParams {
  std::string szUserId;           // -u, upper-cased
  std::string szFunction;         // -f, upper-cased: BACKUP, RESTORE, INQUIRE or anything else
  std::string szType;             // -t, upper-cased: FILE_ONLINE asks for online switching
  std::string szParFile;          // -p; "NO": none was given
  std::string szInFile;           // -i; "STDIN": standard input
  std::string szOutFile;          // -o; "STDOUT": standard output
  bool bAttended = true;          // cleared by -c
  std::string szCaller;           // BRBACKUP or BRARCHIVE in a backup run, else empty
  std::string szSapBackup;        // the directory that SAPBACKUP names
  std::string szSapArch;          // the directory that SAPARCH names
  std::string szOracleSid;        // the database name from ORACLE_SID
  std::string szOracleHome;       // the directory that ORACLE_HOME names
  std::string szSapDataHome;      // the directory that SAPDATA_HOME names
  std::int32_t nTraceLevel = 0;   // highest level that is written; 0 switches the trace off
  std::string szTraceFile;        // path of the program's trace; at first only its bare name
  std::string szXfrTraceFile;     // path of the trace of the mover's output; at first only its bare name
  std::string szComTraceFile;     // path of the file for the control tool's standard error
  std::string szSavesetSize;      // largest size of a saveset in megabytes, as text
  std::string szBackupId;         // of the present job or query; result lines and trace show it
  bool bDirectoryXfrUse = false;  // the mover walks directories itself
};

// What the parameter file and the backup server told the program.
struct SessionData {
  std::string szReplyTapeServer;   // the server that the data mover talks to
  std::string szJobName;           // KORVO_JOB, later JOBNAME of a reply
  std::string szUserName;          // USERNAME
  std::string szPassword;          // PASSWORD
  std::string szSavesetShort;      // saveset name up to its "@"
  std::string szSessionId;         // SESSIONID of the reply that opened the session
  std::string szSegment;           // SEGMENT of a reply
  std::string szPort;              // PORT
  std::string szXfrTraceLevel;     // XFR_TRACE_LEVEL, never below 2
  std::string szPool;              // KORVO_POOL, later MEDIA of a reply
  std::string szDrive;             // DRIVE of a reply
  std::string szTape;              // TAPE of a reply
  std::string szRawUtil;           // KORVO_RAW_UTIL; no later step uses it
  std::string szServer;            // KORVO_SERVER; once the file is read, port, user and password follow it
  std::string szTapeServer;        // KORVO_TAPESERVER
  std::string szSavesetName;       // whole saveset name
  std::string szComTraceLevel;     // XFR_COM_TRACE_LEVEL, later VERBOSE of a reply
  std::string szParDrive;          // KORVO_DRIVE
  std::string szParTape;           // KORVO_TAPE
  std::string szXfrPath;           // XFR: path of the data mover
  std::string szComInterfacePath;  // XFR_COM_INTERFACE: path of the control tool
  std::string szBareTapeServer;    // KORVO_TAPESERVER, else KORVO_SERVER, as the parameter file has it
  bool bSessionOpen = false;       // the server has, or may have, a session of this run
  bool bJobOpen = false;           // the same for a job
};

BackintParams& Params();
SessionData& Server();

// Creates both records, empty, and releases them in the destructor. There may be one object at a time.
class RunRecords {
 public:
  RunRecords();
  RunRecords(const RunRecords&) = delete;
  RunRecords& operator=(const RunRecords&) = delete;
  ~RunRecords();
};

// Sets the defaults, before anything is read.
void SetDefaults();
