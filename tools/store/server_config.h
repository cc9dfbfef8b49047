// The settings of a server: where it keeps its repository, and how.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/bucket_config.h"
#include "store/status.h"

namespace store {

struct ServerConfig {
  std::string file;     // the configuration that was found; empty: none, and all else is as it is without one
  std::string section;  // by which the data mover finds the same server again
  std::string repository;                   // its directory, or s3://bucket/prefix
  BucketConfig bucket;                      // with the name of one: where the repository is
  std::string catalog;                      // the path of the catalog; empty: it is in the repository
  std::string database;                     // that has the catalog instead, postgresql://...
  bool databaseHasPassword = false;         // in its address
  std::string catalogSchema = "korvo";      // of the database
  int compression = 3;                      // 0 (none) to 19
  std::int64_t freshAfter = 7 * 24 * 3600;  // seconds after which a copy is stored whole again; 0: always
  std::int64_t grace = 24 * 3600;           // seconds from marking a saveset to deleting it
  bool inPlace = false;                     // a restore writes over files for which there is no room twice
  std::string user;                         // who may open a session; empty: everybody
  std::string password;
  std::string secretFile;  // of a repository that encrypts (keys.h)
  std::string keyFile;
};

// Finds the settings of a server, named as `server[:port][:user:password]`, in the configuration: the file
// that the environment variable KORVO_CONFIG names, else `korvo.ini` beside the running program, else
// korvo/korvo.ini where the system keeps configurations. There they are in the section of its name, or in
// [DEFAULT] if the file has none. Without a file the repository is in the user's state directory. The
// messages name file, line and what would be right. Nothing but the file itself is looked at, and that others
// may not write it; and the credentials file that it names, if it does.
Status ReadServerConfig(const std::string& login, ServerConfig& config);
// The same from this file.
Status ReadServerConfigFrom(const std::string& file, const std::string& login, ServerConfig& config);

// Whether the login has the user and the password of the configuration. What it has is not told by the time
// that this takes.
Status CheckLogin(const std::string& login, const ServerConfig& config);

// `repository /backup/prod, section [prod] of /etc/korvo/korvo.ini`: where a backup goes, or a restore comes
// from.
[[nodiscard]] std::string TellServer(const ServerConfig& config);

}  // namespace store
