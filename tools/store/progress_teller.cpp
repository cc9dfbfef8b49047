#include "store/progress_teller.h"

#include <chrono>

#include "platform/data_file.h"
#include "platform/terminal.h"
#include "store/base/start_thread.h"

namespace store {
namespace {

constexpr std::chrono::milliseconds kQuiet(1000);
constexpr std::chrono::milliseconds kBetweenLines(500);

// The one line of this process. It needs no escape sequences, so every terminal can show it.
class Line {
 public:
  void Show(const std::string& text) {
    const std::lock_guard lock(mutex_);
    const std::size_t rest = shown_ > text.size() ? shown_ - text.size() : 0;
    platform::WriteToStandardError("\r" + text + std::string(rest, ' ') + std::string(rest, '\b'));
    shown_ = text.size();
  }

  void PrintBeside(const std::function<void()>& print) {
    const std::lock_guard lock(mutex_);
    if (shown_ > 0) {
      platform::WriteToStandardError("\r" + std::string(shown_, ' ') + "\r");
      shown_ = 0;
    }
    print();
  }

 private:
  std::mutex mutex_;
  std::size_t shown_ = 0;  // its length on the terminal
};

Line& TheLine() {
  static Line line;
  return line;
}

}  // namespace

void PrintBesideProgress(const std::function<void()>& print) { TheLine().PrintBeside(print); }

ProgressTeller::ProgressTeller(Progress& progress, Tasks tasks)
    : progress_(progress), tasks_(std::move(tasks)) {
  tasks_.line = tasks_.line && platform::ColumnsOf(platform::Standard::kError) > 0;
  if (!tasks_.line && !tasks_.count && !tasks_.tell) {
    return;
  }
  thread_ = StartThread([this] { Run(); });
}

ProgressTeller::~ProgressTeller() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
}

// False when the work has ended.
bool ProgressTeller::WaitFor(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return !changed_.wait_for(lock, time, [this] { return ending_; });
}

bool ProgressTeller::Ended() {
  const std::lock_guard lock(mutex_);
  return ending_;
}

void ProgressTeller::Run() {
  if (!WaitFor(kQuiet)) {
    return;
  }
  std::thread counter;
  if (tasks_.count) {
    counter = StartThread([this] { tasks_.count([this] { return Ended(); }); });
  }
  bool tells = true;  // with every second line
  do {
    if (tasks_.line) {
      // The last column stays free: some terminals begin a new line after it.
      const std::size_t columns = platform::ColumnsOf(platform::Standard::kError);
      TheLine().Show(ProgressText(progress_.Now(), columns > 0 ? columns - 1 : 0));
    }
    if (tells && tasks_.tell) {
      tasks_.tell();
    }
    tells = !tells;
  } while (WaitFor(kBetweenLines));
  TheLine().PrintBeside([] {});
  if (counter.joinable()) {
    counter.join();
  }
}

}  // namespace store
