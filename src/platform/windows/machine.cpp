// This machine, its file systems and processes, as the store's rules ask about them.
#include <windows.h>

// These need the header above.
#include <aclapi.h>
#include <ntsecapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <map>
#include <vector>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/windows/data_names.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

bool Fail(std::string& why, DWORD error) {
  why = internal::ErrorText(error);
  return false;
}

constexpr DWORD kWriting = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                           WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
constexpr DWORD kReading = FILE_READ_DATA | GENERIC_READ | GENERIC_ALL;

struct Sid {
  explicit Sid(WELL_KNOWN_SID_TYPE type) {
    DWORD size = static_cast<DWORD>(bytes.size());
    CreateWellKnownSid(type, nullptr, bytes.data(), &size);
  }
  [[nodiscard]] PSID Get() { return bytes.data(); }
  std::array<unsigned char, SECURITY_MAX_SID_SIZE> bytes = {};
};

// Whether this is one of the groups to which every account belongs, or every account of some kind.
bool IsEverybody(PSID who) {
  static std::array<Sid, 7> groups = {
      Sid(WinWorldSid),       Sid(WinAuthenticatedUserSid), Sid(WinBuiltinUsersSid), Sid(WinBuiltinGuestsSid),
      Sid(WinInteractiveSid), Sid(WinNetworkSid),           Sid(WinAnonymousSid)};
  return std::any_of(groups.begin(), groups.end(), [who](Sid& group) { return EqualSid(who, group.Get()); });
}

// The user of this process; empty if the system does not say.
std::vector<unsigned char> CurrentUser() {
  HANDLE token = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) {
    return {};
  }
  DWORD size = 0;
  GetTokenInformation(token, TokenUser, nullptr, 0, &size);
  std::vector<unsigned char> user(size);
  if (GetTokenInformation(token, TokenUser, user.data(), size, &size) == 0) {
    user.clear();
  }
  CloseHandle(token);
  return user;
}

// Whether this process has an administrator's rights.
bool IsAdministrator() {
  Sid administrators(WinBuiltinAdministratorsSid);
  BOOL is = FALSE;
  return CheckTokenMembership(nullptr, administrators.Get(), &is) != 0 && is != FALSE;
}

bool IsOursOrTheAdministrators(PSID owner) {
  static std::array<Sid, 3> administrators = {Sid(WinBuiltinAdministratorsSid), Sid(WinLocalSystemSid),
                                              Sid(WinCreatorOwnerSid)};
  std::vector<unsigned char> user = CurrentUser();
  const bool ours =
      !user.empty() && EqualSid(owner, reinterpret_cast<TOKEN_USER*>(user.data())->User.Sid) != 0;
  return ours || IsAdministrator() ||
         std::any_of(administrators.begin(), administrators.end(),
                     [owner](Sid& sid) { return EqualSid(owner, sid.Get()) != 0; });
}

// Whether the list grants one of the rights to everybody. If there is no list, everybody has all rights.
bool GrantsToEverybody(PACL list, DWORD rights) {
  if (list == nullptr) {
    return true;
  }
  for (DWORD number = 0; number < list->AceCount; ++number) {
    void* entry = nullptr;
    if (GetAce(list, number, &entry) == 0) {
      return true;
    }
    auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    if (allowed->Header.AceType == ACCESS_ALLOWED_ACE_TYPE &&
        (allowed->Header.AceFlags & INHERIT_ONLY_ACE) == 0 && (allowed->Mask & rights) != 0 &&
        IsEverybody(&allowed->SidStart)) {
      return true;
    }
  }
  return false;
}

bool OthersHave(const std::string& path, DWORD rights, bool& others, std::string& why) {
  std::wstring native = internal::WidePath(path);
  PSID owner = nullptr;
  PACL list = nullptr;
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD result = GetNamedSecurityInfoW(native.data(), SE_FILE_OBJECT,
                                             OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                                             nullptr, &list, nullptr, &descriptor);
  if (result != ERROR_SUCCESS) {
    return Fail(why, result);
  }
  others = owner == nullptr || !IsOursOrTheAdministrators(owner) || GrantsToEverybody(list, rights);
  LocalFree(descriptor);
  return true;
}

std::string StartOf(HANDLE process) {
  FILETIME start = {};
  FILETIME unused = {};
  if (GetProcessTimes(process, &start, &unused, &unused, &unused) == 0) {
    return "";
  }
  return std::to_string(static_cast<std::uint64_t>(start.dwHighDateTime) << 32 | start.dwLowDateTime);
}

}  // namespace

bool FreeSpace(const std::string& path, std::uint64_t& bytes, std::string& why) {
  const bool isDirectory = LookUp(path).kind == PathKind::kDirectory;
  const std::wstring directory = internal::WidePath(isDirectory ? path : DirectoryOf(path));
  ULARGE_INTEGER free = {};
  if (GetDiskFreeSpaceExW(directory.c_str(), &free, nullptr, nullptr) == 0) {
    return Fail(why, GetLastError());
  }
  bytes = free.QuadPart;
  return true;
}

bool OthersMayWrite(const std::string& path, bool& others, std::string& why) {
  return OthersHave(path, kWriting, others, why);
}

bool OthersMayRead(const std::string& path, bool& others, std::string& why) {
  return OthersHave(path, kReading, others, why);
}

bool internal::RandomBytes(void* bytes, std::size_t size) {
  return RtlGenRandom(bytes, static_cast<ULONG>(size)) != 0;
}

namespace {

std::string ComputerName(COMPUTER_NAME_FORMAT format) {
  std::array<char, 256> name = {};
  DWORD size = static_cast<DWORD>(name.size());
  return GetComputerNameExA(format, name.data(), &size) != 0 ? name.data() : "";
}

}  // namespace

std::string HostName() { return ComputerName(ComputerNameDnsHostname); }

// The machine's own name, not one that a cluster lends to the programs of a role: processes belong to one
// machine.
std::string ProcessSpace() { return ComputerName(ComputerNamePhysicalDnsHostname); }

bool SeesLocksOf(const std::string& space) { return space == ProcessSpace(); }

ProcessIdentity ThisProcess() { return {ProcessSpace(), ProcessId(), StartOf(GetCurrentProcess())}; }

bool ParentProcess(ProcessIdentity& parent, std::string& program) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) {
    return false;
  }
  std::map<DWORD, PROCESSENTRY32> processes;
  PROCESSENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32First(snapshot, &entry); more != FALSE; more = Process32Next(snapshot, &entry)) {
    processes[entry.th32ProcessID] = entry;
  }
  CloseHandle(snapshot);
  const auto found = processes.find(processes[GetCurrentProcessId()].th32ParentProcessID);
  if (found == processes.end()) {
    return false;
  }
  const HANDLE handle = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, found->first);
  parent = {ProcessSpace(), static_cast<int>(found->first), handle == nullptr ? "" : StartOf(handle)};
  CloseHandle(handle);
  program = found->second.szExeFile;
  if (FoldName(program).ends_with(".EXE")) {
    program.resize(program.size() - 4);
  }
  // If it is younger than this process, it has got the number of the true parent, which has ended.
  return !parent.start.empty() && std::stoull(parent.start) <= std::stoull(ThisProcess().start);
}

Running IsRunning(const ProcessIdentity& process) {
  if (process.space != ProcessSpace()) {
    return Running::kCannotTell;
  }
  const HANDLE handle =
      OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process.number));
  if (handle == nullptr) {
    return GetLastError() == ERROR_INVALID_PARAMETER ? Running::kNo : Running::kCannotTell;
  }
  DWORD status = STILL_ACTIVE;
  const bool ended = GetExitCodeProcess(handle, &status) != 0 && status != STILL_ACTIVE;
  const bool same = StartOf(handle) == process.start;
  CloseHandle(handle);
  return same && !ended ? Running::kYes : Running::kNo;
}

}  // namespace platform
