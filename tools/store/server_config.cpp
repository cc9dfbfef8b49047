#include "store/server_config.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <vector>

#include "platform/data_file.h"
#include "platform/failures.h"
#include "platform/platform.h"
#include "store/ini_file.h"
#include "store/names.h"
#include "store/server_keys.h"

namespace store {
namespace {

constexpr const char* kDefaultSection = "DEFAULT";

// ---- The section --------------------------------------------------------------------------------

// How many letters two words differ by: changed, missing or added ones.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

std::string Advice(const std::string& key) {
  constexpr std::size_t kClose = 3;
  const std::span<const ServerKey> keys = ServerKeys();
  const auto nearest =
      std::min_element(keys.begin(), keys.end(), [&key](const ServerKey& a, const ServerKey& b) {
        return Distance(a.name, key) < Distance(b.name, key);
      });
  if (Distance(nearest->name, key) <= kClose) {
    return std::string("did you mean ") + nearest->name + "?";
  }
  std::string names;
  for (const ServerKey& known : keys) {
    names += std::string(names.empty() ? "" : ", ") + known.name;
  }
  return "the keys are " + names;
}

// A key that means nothing, and that no macro names, is a typing error.
Status CheckKeys(const IniFile& file, const ServerConfig& config) {
  const std::span<const ServerKey> keys = ServerKeys();
  for (const std::string& key : file.Keys(config.section)) {
    const bool known =
        std::any_of(keys.begin(), keys.end(), [&key](const ServerKey& one) { return key == one.name; });
    if (!known && !file.IsMacro(key)) {
      return Status::Failed(file.Where(config.section, key) + ": there is no key " + key + ": " +
                            Advice(key));
    }
  }
  return {};
}

Status ReadKey(const IniFile& file, const ServerKey& key, ServerConfig& config) {
  std::optional<std::string> value;
  if (Status found = file.Find(config.section, key.name, value); !found || !value) {
    return found;
  }
  const std::string where = file.Where(config.section, key.name) + ": " + key.name;
  if (value->empty()) {
    return Status::Failed(where + " has no value: give it one, or take the line out");
  }
  const std::string expected = key.read(*value, config);
  return expected.empty() ? Status()
                          : Status::Failed(where + (key.secret ? "" : " = " + *value) + ": " + expected);
}

Status CheckCombination(const IniFile& file, const ServerConfig& config) {
  if (config.repository.empty()) {
    return Status::Failed(
        file.Where(config.section, "") + ": section [" + config.section +
        "] does not say where its repository is: repository = the full path of a directory" + " is expected");
  }
  if (const std::string wrong = CheckBucket(config.bucket); !wrong.empty()) {
    return Status::Failed(file.Where(config.section, "") + ": section [" + config.section + "]: " + wrong);
  }
  if (!config.bucket.name.empty() && config.catalog.empty() && config.database.empty()) {
    return Status::Failed(file.Where(config.section, "repository") +
                          ": a repository in a bucket has its catalog elsewhere: catalog = the full path of"
                          " a file is expected");
  }
  if (config.user.empty() != config.password.empty()) {
    return Status::Failed(file.Where(config.section, config.user.empty() ? "password" : "user") +
                          ": user and password go together: set both, or neither");
  }
  return {};
}

// Others who may write the file could send the backups anywhere.
Status CheckRights(const ServerConfig& config) {
  const std::string& file = config.file;
  bool others = false;
  std::string why;
  if (!platform::OthersMayWrite(file, others, why)) {
    return Status::Failed("who may write " + file + " cannot be found out: " + why);
  }
  if (others) {
    return Status::Failed(file +
                          " is refused: others may write it, or it belongs to another account. Let nobody" +
                          " but this user or the administrator own and write it");
  }
  if (config.password.empty() && config.bucket.secretKey.empty() && !config.databaseHasPassword) {
    return {};
  }
  if (!platform::OthersMayRead(file, others, why)) {
    return Status::Failed("who may read " + file + " cannot be found out: " + why);
  }
  const bool password = !config.password.empty() || config.databaseHasPassword;
  const std::string what = password ? "a password" : "a secret key";
  return others ? Status::Failed(file + " is refused: it contains " + what +
                                 ", and others may read it. Let nobody but this user read it")
                : Status();
}

Status ReadSection(const IniFile& file, ServerConfig& config) {
  if (Status keys = CheckKeys(file, config); !keys) {
    return keys;
  }
  for (const ServerKey& key : ServerKeys()) {
    if (Status read = ReadKey(file, key, config); !read) {
      return read;
    }
  }
  return CheckCombination(file, config);
}

// ---- The file -----------------------------------------------------------------------------------

constexpr const char* kVariable = "KORVO_CONFIG";

// The file that KORVO_CONFIG names. If something is wrong with it, no other file takes its place.
Status FindNamedFile(std::string& file) {
  if (!platform::EnvironmentVariable(kVariable, file)) {
    return Status::Failed(std::string(kVariable) +
                          " is set but empty: let it name the configuration file, or unset it");
  }
  return platform::LookUp(file).kind == platform::PathKind::kMissing
             ? Status::Failed(std::string(kVariable) + " names " + file + ", which is not there")
             : Status();
}

Status FindFile(std::string& file) {
  if (platform::IsEnvironmentVariableSet(kVariable)) {
    return FindNamedFile(file);
  }
  for (const std::string& place : {platform::ProgramDirectory() + "/korvo.ini",
                                   platform::SystemConfigDirectory() + "/korvo/korvo.ini"}) {
    const platform::PathInfo found = platform::LookUp(place);
    if (found.kind != platform::PathKind::kMissing) {
      file = place;
      return {};
    }
    // Without this file the backup would go to another repository.
    if (!platform::MeansMissing(found.error)) {
      return Status::Failed("whether there is a configuration " + place + " cannot be seen (error " +
                            std::to_string(found.error) + "): let this user read its directory");
    }
  }
  file.clear();
  return {};
}

Status UseNoFile(ServerConfig& config) {
  const std::string state = platform::UserStateDirectory();
  config.repository = state + "/korvo";
  return state.empty() ? Status::Failed(
                             "there is no configuration, and no state directory of this user to keep a"
                             " repository in: let KORVO_CONFIG name a configuration file")
                       : Status();
}

std::string ListSections(const IniFile& file) {
  std::string list;
  for (const std::string& section : file.Sections()) {
    list += (list.empty() ? "[" : ", [") + section + "]";
  }
  return list.empty() ? "no section" : list;
}

Status ChooseSection(const IniFile& file, ServerConfig& config) {
  if (file.Has(config.section)) {
    return {};
  }
  if (!file.Has(kDefaultSection)) {
    return Status::Failed(config.file + " has no section [" + config.section + "] and no [DEFAULT]: it has " +
                          ListSections(file) + ". Add a section for the server, or correct its name");
  }
  config.section = kDefaultSection;
  return {};
}

std::string ServerOf(const std::string& login) { return login.substr(0, login.find(':')); }

Status CheckServerName(const std::string& name) {
  if (name.empty()) {
    return Status::Failed("the server's name is empty");
  }
  if (name.size() > kSectionNameWidth || name.find_first_of("[]\n") != std::string::npos) {
    return Status::Failed("the server's name is longer than " + std::to_string(kSectionNameWidth) +
                          " characters, or contains a bracket: " + name);
  }
  return {};
}

}  // namespace

Status ReadServerConfig(const std::string& login, ServerConfig& config) {
  std::string file;
  if (Status found = FindFile(file); !found) {
    return found;
  }
  if (!file.empty()) {
    return ReadServerConfigFrom(file, login, config);
  }
  config = ServerConfig();
  config.section = ServerOf(login);
  Status named = CheckServerName(config.section);
  return named ? UseNoFile(config) : named;
}

Status ReadServerConfigFrom(const std::string& file, const std::string& login, ServerConfig& config) {
  config = ServerConfig();
  config.file = file;
  config.section = ServerOf(login);
  if (Status named = CheckServerName(config.section); !named) {
    return named;
  }
  IniFile settings;
  if (Status read = IniFile::Read(file, settings); !read) {
    return read;
  }
  if (Status chosen = ChooseSection(settings, config); !chosen) {
    return chosen;
  }
  Status read = ReadSection(settings, config);
  if (read) {
    read = CheckRights(config);
  }
  return read ? ReadCredentials(config.section, config.bucket) : read;
}

// ---- Login --------------------------------------------------------------------------------------

namespace {

// Compares texts of any length; the time that this takes reveals nothing of their bytes.
bool IsSame(std::string_view a, std::string_view b) {
  std::array<std::array<unsigned char, crypto_generichash_BYTES>, 2> hashes = {};
  const std::array<std::string_view, 2> texts = {a, b};
  for (std::size_t i = 0; i < texts.size(); ++i) {
    crypto_generichash(hashes[i].data(), hashes[i].size(),
                       reinterpret_cast<const unsigned char*>(texts[i].data()), texts[i].size(), nullptr, 0);
  }
  return sodium_memcmp(hashes[0].data(), hashes[1].data(), hashes[0].size()) == 0;
}

std::string_view BehindColon(std::string_view text) {
  const std::size_t colon = text.find(':');
  return colon == std::string_view::npos ? std::string_view() : text.substr(colon + 1);
}

}  // namespace

Status CheckLogin(const std::string& login, const ServerConfig& config) {
  if (config.user.empty()) {
    return {};
  }
  // User and password are all behind the server's name, or all behind its port: only so may a password have a
  // colon.
  const std::string expected = config.user + ":" + config.password;
  const bool withoutPort = IsSame(BehindColon(login), expected);
  const bool withPort = IsSame(BehindColon(BehindColon(login)), expected);
  return withoutPort || withPort ? Status()
                                 : Status::Failed("server " + ServerOf(login) +
                                                  " does not let this user in: USERNAME and PASSWORD of the"
                                                  " parameter file have to be those of section [" +
                                                  config.section + "] of " + config.file);
}

std::string TellServer(const ServerConfig& config) {
  return "repository " + config.repository +
         (config.file.empty() ? ": no configuration was found"
                              : ", section [" + config.section + "] of " + config.file);
}

}  // namespace store
