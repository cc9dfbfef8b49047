// The settings of a server: where it keeps its repository, and how.
#pragma once

#include <cstdint>
#include <string>

#include "store/bucket_config.h"
#include "store/status.h"

namespace store {

struct ServerConfig {
  std::string file;     // the configuration file that was found; empty: none, and all else is as without one
  std::string section;  // its name; the data mover finds the same server again by it
  std::string repository;  // its directory, or s3://bucket/prefix
  BucketConfig bucket;     // if it has a name, the repository is in this bucket
  std::string catalog;     // the path of the catalog's file; empty: it is in the repository
  std::string database;    // the address of the database that has the catalog instead, postgresql://...
  bool databaseHasPassword = false;         // its address contains one
  std::string catalogSchema = "korvo";      // the schema of the database
  int compression = 3;                      // 0 (none) to 19
  std::int64_t freshAfter = 7 * 24 * 3600;  // seconds after which a copy is stored whole again; 0: always
  std::int64_t grace = 24 * 3600;           // seconds from marking a saveset to deleting it
  bool inPlace = false;  // a restore overwrites files in place if there is no room for a second copy
  std::string user;      // who may open a session; empty: everybody
  std::string password;
  std::string secretFile;  // the savers' secret of a repository that encrypts (keys.h)
  std::string keyFile;
};

// Finds the settings of a server, named as `server[:port][:user:password]`. The configuration is the file
// that the environment variable KORVO_CONFIG names, else `korvo.ini` beside the running program, else
// korvo/korvo.ini in the system's directory for configurations. The settings are in the section with the
// server's name, or in [DEFAULT] if there is no such section. Without a file the repository is in the user's
// state directory. The messages name file, line and what would be right. Only this file is read, and the
// credentials file and the certificates that it names. It is refused if others may write it, or may read a
// password or a secret key in it.
Status ReadServerConfig(const std::string& login, ServerConfig& config);
// The same from this file.
Status ReadServerConfigFrom(const std::string& file, const std::string& login, ServerConfig& config);

// Fails unless the login has the user and the password of the configuration; without a user there, everybody
// may enter. The time that this takes does not reveal them.
Status CheckLogin(const std::string& login, const ServerConfig& config);

// `repository /backup/prod, section [prod] of /etc/korvo/korvo.ini`: where a backup goes to, or a restore
// comes from.
[[nodiscard]] std::string TellServer(const ServerConfig& config);

}  // namespace store
