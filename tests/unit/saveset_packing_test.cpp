#include "backint/backup/saveset_packing.h"

#include <algorithm>
#include <array>
#include <random>
#include <sstream>

#include "backint/base/text.h"
#include "support/run_fixture.h"
#include "support/scenario.h"

namespace {

std::string Text(const std::vector<ItemList>& savesets) {
  std::string text;
  for (const ItemList& saveset : savesets) {
    text += JoinItems(saveset) + " | ";
  }
  return text;
}

// The plan step by step: a sorted list, walked whole for each saveset and searched whole for each record.
class StepByStep {
 public:
  StepByStep(std::vector<FileRecord> files, int maximum) : maximum_(maximum) {
    messages = "backint_util: INFO: Maximum Saveset size: " + std::to_string(maximum) + " Mb.\n";
    while (!files.empty()) {
      auto greatest = files.begin();
      for (auto file = files.begin(); file != files.end(); ++file) {
        greatest = file->sizeMb > greatest->sizeMb ? file : greatest;
      }
      sorted_.push_back(*greatest);
      files.erase(greatest);
    }
    while (Pass()) {
    }
  }

  std::vector<ItemList> savesets;
  std::string messages;

 private:
  bool Pass() {
    const auto fresh =
        std::find_if(sorted_.begin(), sorted_.end(), [&](auto& file) { return !IsPlaced(file); });
    if (fresh == sorted_.end()) {
      return false;
    }
    const std::string before = messages;
    savesets.emplace_back();
    Walk(1);
    if (savesets.back().Empty()) {
      messages = before;
      Walk(fresh - sorted_.begin() + 1);
    }
    for (std::size_t removed = 0; removed < positions_.size(); ++removed) {
      sorted_.erase(sorted_.begin() + positions_[removed] - 1 - static_cast<std::ptrdiff_t>(removed));
    }
    return true;
  }

  void Walk(std::ptrdiff_t opener) {
    std::ptrdiff_t position = 0;
    std::ptrdiff_t candidate = 0;
    long long total = 0;
    long long candidateTotal = 0;
    int lastSkipped = 0;
    closed_ = false;
    positions_.clear();
    for (const FileRecord& file : sorted_) {
      ++position;
      if (IsPlaced(file) || closed_) {
        continue;
      }
      total += file.sizeMb;
      if (position == opener) {
        messages += "backint_util: INFO: ... Opening saveset list ...\n";
        Put(position);
        if (total >= maximum_) {
          Close(total);
        }
      } else if (total > maximum_) {
        if ((candidate == 0 || file.sizeMb < lastSkipped) && total < maximum_ + maximum_ * 10LL / 100) {
          candidate = position;
          candidateTotal = total;
        }
        total -= file.sizeMb;
        lastSkipped = file.sizeMb;
      } else {
        Put(position);
        if (total == maximum_) {
          Close(total);
        }
      }
    }
    if (!closed_ && candidate != 0) {
      Put(candidate);
      Close(candidateTotal);
    } else if (!closed_) {
      Close(total);
    }
  }

  [[nodiscard]] bool IsPlaced(const FileRecord& file) const {
    return std::any_of(placed_.begin(), placed_.end(), [&](const FileRecord& other) {
      return other.name == file.name && other.sizeMb == file.sizeMb;
    });
  }
  void Put(std::ptrdiff_t position) {
    const FileRecord& file = sorted_[static_cast<std::size_t>(position - 1)];
    messages += "backint_util: INFO: Putting file [" + file.name + "] into saveset (~" +
                std::to_string(file.sizeMb) + "Mb).\n";
    placed_.push_back(file);
    savesets.back().Push(file.name);
    positions_.insert(std::upper_bound(positions_.begin(), positions_.end(), position), position);
  }
  void Close(long long total) {
    messages += "backint_util: INFO: ... Closing saveset list ...\nbackint_util: INFO: Saveset size: ~" +
                std::to_string(total) + " Mb.\n";
    closed_ = true;
  }

  long long maximum_;
  std::vector<FileRecord> sorted_;
  std::vector<FileRecord> placed_;
  std::vector<std::ptrdiff_t> positions_;
  bool closed_ = false;
};

using SavesetPacking = RunFixture;

TEST_F(SavesetPacking, FillsSavesetsAsTold) {
  Params().nTraceLevel = 0;
  struct {
    int maximum;
    std::string files;  // names that begin with their sizes
    std::string savesets;
  } const cases[] = {
      {100, "120 70 50 45 30 5", "120 | 70 30 | 50 45 5 | "},
      {100, "60 48 44", "60 44 | 48 | "},
      {100, "60 50 45a 45b 30 20 15 5 4 1", "60 30 5 4 1 | 50 45a | 45b 20 15 | "},
      {-7, "0 3", "3 | 0 | "},
      {2147483647, "1 2147483647 2147483646", "2147483647 | 2147483646 1 | "},
      // A file listed twice, also where its double in front lets nothing fit.
      {100, "60 30 60 50", "60 30 | 50 | "},
      {10, "20 20 15 12", "20 | 15 | 12 | "},
  };
  for (const auto& test : cases) {
    std::istringstream names(test.files);
    std::vector<FileRecord> files;
    for (std::string name; names >> name;) {
      files.push_back({name, ToNumber(name)});
    }
    EXPECT_EQ(Text(PackSavesets(files, test.maximum)), test.savesets);
  }
}

TEST_F(SavesetPacking, AgreesWithThePlanStepByStep) {
  constexpr int kTracedRounds = 400;
  std::mt19937 random(7);
  const auto upTo = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most + 1)); };
  for (int round = 0; round < 3000; ++round) {
    Params().nTraceLevel = round < kTracedRounds ? 3 : 0;
    const int maximum = std::array{100, 49, 33, 20, 10, 7, 1, 0, -5}[static_cast<std::size_t>(upTo(8))];
    const int largest =
        std::array{0, 1, 3, 12, 60, 120, maximum + maximum / 9 + 2}[static_cast<std::size_t>(upTo(6))];
    std::vector<FileRecord> files(static_cast<std::size_t>(1 + upTo(20)));
    for (FileRecord& file : files) {
      file = upTo(4) == 0 ? files.front() : FileRecord{std::to_string(upTo(12)), upTo(std::max(largest, 0))};
    }
    const StepByStep expected(files, maximum);
    ASSERT_EQ(Text(PackSavesets(files, maximum)), Text(expected.savesets)) << expected.messages;
    if (round < kTracedRounds) {
      ASSERT_EQ(Join(TakeTrace(Params().szTraceFile)), expected.messages);
    }
  }
}

}  // namespace
