// A PostgreSQL server for the tests: tests/servers/database.sh.
#pragma once

#include <string>

namespace support {

// The directory with its socket, its port, certificates and password. It is that of the environment variable
// KORVO_TEST_DATABASE, else of a server that is started for this program. Empty, and a failure of the test,
// if it cannot be started; on Windows it never can.
std::string DatabasePlace();
inline constexpr const char* kDatabaseSocket = ".s.PGSQL.5432";

// Of the server with this directory.
std::string DatabasePort(const std::string& place);
// By which a catalog is named there.
std::string DatabaseUrl(const std::string& place);
// That no other test has.
std::string FreshSchema();

// The settings of korvo.ini for a catalog of its own in the database.
std::string DatabaseSettings(bool tls = false);

}  // namespace support
