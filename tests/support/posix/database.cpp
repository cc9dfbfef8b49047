#include "support/database.h"

#include "platform/data_file.h"
#include "support/run_program.h"
#include "support/script_server.h"

namespace support {

std::string DatabaseSockets() {
  static const std::string sockets = SharedServer("KORVO_TEST_DATABASE", "database.sh");
  return sockets;
}

std::string DatabaseUrl(const std::string& sockets) { return "postgresql://korvo@/postgres?host=" + sockets; }

std::string FreshSchema() { return "test_" + platform::RandomName(); }

namespace {

std::string TlsUrl(const std::string& place) {
  const std::string port = ReadWholeFile(place + "/port");
  return "postgresql://korvo@localhost:" + port.substr(0, port.find('\n')) +
         "/postgres?sslmode=verify-full&sslrootcert=" + place + "/ca.pem&passfile=" + place + "/pgpass";
}

}  // namespace

std::string DatabaseSettings(bool tls) {
  return "catalog = " + (tls ? TlsUrl : DatabaseUrl)(DatabaseSockets()) +
         "\ncatalog_schema = " + FreshSchema() + "\n";
}

}  // namespace support
