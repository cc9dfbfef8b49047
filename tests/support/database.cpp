#include "support/database.h"

#include "platform/data_file.h"
#include "support/run_program.h"
#include "support/script_server.h"

namespace support {

std::string DatabasePlace() {
  static const std::string place = SharedServer("KORVO_TEST_DATABASE", "database.sh");
  return place;
}

std::string DatabasePort(const std::string& place) {
  const std::string port = ReadWholeFile(place + "/port");
  return port.substr(0, port.find('\n'));
}

std::string FreshSchema() { return "test_" + platform::RandomName(); }

namespace {

std::string TlsUrl(const std::string& place) {
  return "postgresql://korvo@localhost:" + DatabasePort(place) +
         "/postgres?sslmode=verify-full&sslrootcert=" + place + "/ca.pem&passfile=" + place + "/pgpass";
}

}  // namespace

std::string DatabaseSettings(bool tls) {
  return "catalog = " + (tls ? TlsUrl : DatabaseUrl)(DatabasePlace()) +
         "\ncatalog_schema = " + FreshSchema() + "\n";
}

}  // namespace support
