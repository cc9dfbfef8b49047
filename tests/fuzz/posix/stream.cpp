#include <sys/mman.h>
#include <unistd.h>

#include <vector>

#include "fuzz/fuzz.h"
#include "fuzz/tools.h"

namespace fuzz {
namespace {

struct Stream {
  int descriptor;  // has its position in common with the one that was given away
  std::size_t size;
};
std::vector<Stream> streams;

}  // namespace

std::intptr_t OpenStreamOf(std::string_view bytes) {
  const int descriptor = memfd_create("stream", MFD_CLOEXEC);
  Require(descriptor >= 0 &&
              write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
              lseek(descriptor, 0, SEEK_SET) == 0,
          "a stream can be made");
  streams.push_back({dup(descriptor), bytes.size()});
  return descriptor;
}

std::size_t UnreadBytes() {
  std::size_t unread = 0;
  for (const Stream& stream : streams) {
    unread += stream.size - static_cast<std::size_t>(lseek(stream.descriptor, 0, SEEK_CUR));
    close(stream.descriptor);
  }
  streams.clear();
  return unread;
}

}  // namespace fuzz
