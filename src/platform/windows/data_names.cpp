#include "platform/windows/data_names.h"

#include <windows.h>

#include <algorithm>
#include <array>

#include "platform/data_file.h"
#include "platform/internal.h"
#include "platform/windows/wide.h"

namespace platform {
namespace {

constexpr std::string_view kSeparators = "\\/";

bool IsSeparator(char c) { return kSeparators.find(c) != std::string_view::npos; }

bool HasDrive(std::string_view path) {
  const auto isLetter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  return path.size() > 1 && path[1] == ':' && isLetter(path[0]);
}

// Two separators at the start: a name on another computer, or of a device.
bool BeginsWithTwoSeparators(std::string_view path) {
  return path.size() > 1 && IsSeparator(path[0]) && IsSeparator(path[1]);
}

// The names of devices are valid in every directory, in upper or lower case, whatever follows a dot.
bool IsDevice(std::string_view component) {
  constexpr std::array<std::string_view, 6> kDevices = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"};
  constexpr std::string_view kDigits = "123456789\xB9\xB2\xB3";
  std::string name(component.substr(0, component.find('.')));
  name.erase(name.find_last_not_of(' ') + 1);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  const bool numbered =
      name.size() == 4 && (name.compare(0, 3, "COM") == 0 || name.compare(0, 3, "LPT") == 0);
  return std::find(kDevices.begin(), kDevices.end(), name) != kDevices.end() ||
         (numbered && kDigits.find(name.back()) != std::string_view::npos);
}

// Why a directory cannot contain such a name; empty if it can.
std::string TroubleWith(std::string_view component) {
  const auto cannotStand = [](char c) {
    return static_cast<unsigned char>(c) < ' ' ||
           std::string_view("<>:\"|?*").find(c) != std::string_view::npos;
  };
  if (component == "." || component == "..") {
    return "";
  }
  const std::string name(component);
  if (const auto bad = std::find_if(name.begin(), name.end(), cannotStand); bad != name.end()) {
    return "Windows cannot hold a name with this character: " + std::string(1, *bad);
  }
  if (!name.empty() && (name.back() == ' ' || name.back() == '.')) {
    return "Windows cannot hold a name that ends in a blank or a point";
  }
  return IsDevice(name) ? "Windows keeps this name for a device: " + name : "";
}

}  // namespace

std::string internal::ErrorText(unsigned long error) {
  constexpr DWORD kMost = 512;
  std::string text(kMost, '\0');
  text.resize(FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0,
                             text.data(), kMost, nullptr));
  text.erase(text.find_last_not_of("\r\n. ") + 1);
  return text.empty() ? "error " + std::to_string(error) : text;
}

bool internal::IsUnusableName(const std::string& path, std::string& why) {
  std::string_view rest = path;
  if (HasDrive(rest)) {
    rest.remove_prefix(2);
  } else if (BeginsWithTwoSeparators(rest) && (rest.substr(2, 1) == "." || rest.substr(2, 1) == "?")) {
    why = "it names a device";
    return true;
  }
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find_first_of(kSeparators), rest.size());
    if (std::string trouble = TroubleWith(rest.substr(0, end)); !trouble.empty()) {
      why = std::move(trouble);
      return true;
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t separator = path.find_last_of(kSeparators);
  if (separator == std::string::npos) {
    // A drive without a separator after it stands for the current directory of the drive.
    return HasDrive(path) ? path.substr(0, 2) + "." : ".";
  }
  const bool root = separator == 0 || (separator == 2 && HasDrive(path));
  return path.substr(0, root ? separator + 1 : separator);
}

std::string NativePath(const std::string& path) { return internal::Utf8(internal::WidePath(path)); }

bool IsAbsolute(const std::string& path) {
  return (path.size() > 2 && HasDrive(path) && IsSeparator(path[2])) || BeginsWithTwoSeparators(path);
}

std::string FoldName(std::string_view name) {
  std::string folded(name);
  std::replace(folded.begin(), folded.end(), '/', '\\');
  std::wstring wide = internal::Wide(folded);
  const int size = static_cast<int>(wide.size());
  // A text that is not valid in this system's code page stays as it is.
  if (LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, wide.c_str(), size, wide.data(), size, nullptr,
                    nullptr, 0) != size) {
    return folded;
  }
  return internal::Narrow(wide).value_or(folded);
}

std::string UserStateDirectory() {
  std::string directory;
  return EnvironmentVariable("LOCALAPPDATA", directory) && IsAbsolute(directory) ? directory : "";
}

std::string UserStateVariables() { return "LOCALAPPDATA"; }

std::string SystemConfigDirectory() {
  std::string directory;
  return EnvironmentVariable("PROGRAMDATA", directory) && IsAbsolute(directory) ? directory
                                                                                : "C:/ProgramData";
}

std::string ProgramDirectory() {
  constexpr std::size_t kLongestPath = 32768;
  std::string path(kLongestPath, '\0');
  path.resize(GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return DirectoryOf(path);
}

}  // namespace platform
