#include "support/database.h"

#include "support/run_program.h"

namespace support {

// There is no other way than a network, and the library has no TLS there. What the server keeps is on the
// drive that Wine makes of the file system.
std::string DatabaseUrl(const std::string& place) {
  return "postgresql://korvo@127.0.0.1:" + DatabasePort("Z:" + place) +
         "/postgres?sslmode=disable&passfile=Z:" + place + "/pgpass";
}

}  // namespace support
