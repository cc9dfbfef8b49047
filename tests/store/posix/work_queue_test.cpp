// Work for threads, where the system allows none.
#include "store/load/work_queue.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace store {
namespace {

// In a process of its own, of a user who is no root and has no other.
int PiecesDoneWithoutThreads() {
  const rlimit none = {1, 1};
  constexpr uid_t kNobodyElse = 54321;
  if (setrlimit(RLIMIT_NPROC, &none) != 0 || (geteuid() == 0 && setuid(kNobodyElse) != 0)) {
    return -1;
  }
  WorkQueue queue(4);
  int done = 0;
  for (int i = 0; i < 100; ++i) {
    queue.Do([&done, caller = std::this_thread::get_id()] {
      done += std::this_thread::get_id() == caller ? 1 : 0;
    });
  }
  return done;
}

TEST(PosixWorkQueueTest, WithoutThreadsTheCallerDoesTheWork) {
  EXPECT_EXIT(_exit(PiecesDoneWithoutThreads()), testing::ExitedWithCode(100), "");
}

}  // namespace
}  // namespace store
