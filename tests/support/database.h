// A PostgreSQL server for tests of POSIX systems: tests/servers/database.sh.
#pragma once

#include <string>

namespace support {

// The directory with its socket. It is that of the environment variable KORVO_TEST_DATABASE, else of a server
// that is started for this program. Empty, and a failure of the test, if it cannot be started.
std::string DatabaseSockets();
inline constexpr const char* kDatabaseSocket = ".s.PGSQL.5432";

// By which a catalog is named there.
std::string DatabaseUrl(const std::string& sockets);
// That no other test has.
std::string FreshSchema();

// The settings of korvo.ini for a catalog of its own in the database.
std::string DatabaseSettings(bool tls = false);

}  // namespace support
