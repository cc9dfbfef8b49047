// The list library against the standard library's list: sorting a million elements with the same comparison
// called through a pointer, and moving sections of different lengths.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>
#include <random>
#include <vector>

#include "common/LL.h"

namespace {

struct Record {
  std::int64_t key;
  std::int64_t place;
};

int Compare(void* first, void* second) {
  const std::int64_t a = static_cast<const Record*>(first)->key;
  const std::int64_t b = static_cast<const Record*>(second)->key;
  return (a > b) - (a < b);
}

double Seconds(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

LLNode* ListOf(const std::vector<Record>& records) {
  LLNode* list = ConsLL();
  for (const Record& record : records) {
    InsLastLLf(list, sizeof record, &record);
  }
  return list;
}

// Makes the allocator put its small free pieces together: the order in which earlier lists were freed would
// decide more than the sort.
void TidyUpMemory() {
  static std::vector<char> large;
  large.assign(1000000, 'x');
  std::vector<char>().swap(large);
}

double SortOfTheLibrary(const std::vector<Record>& records) {
  TidyUpMemory();
  LLNode* list = ListOf(records);
  const double seconds = Seconds([&] { MergeSortLL(list, Compare); });
  DestLL(list);
  return seconds;
}

double SortOfTheStandard(const std::vector<Record>& records) {
  // Volatile, so that the call stays one through a pointer.
  const LLCompareFunction volatile hidden = Compare;
  const LLCompareFunction compare = hidden;
  TidyUpMemory();
  std::list<Record> list(records.begin(), records.end());
  return Seconds([&] { list.sort([=](Record& a, Record& b) { return compare(&a, &b) < 0; }); });
}

bool MeasureSorting(const char* name, const std::vector<Record>& records) {
  double library = 1e9;
  double standard = 1e9;
  for (int round = 0; round < 5; ++round) {
    library = std::min(library, SortOfTheLibrary(records));
    standard = std::min(standard, SortOfTheStandard(records));
  }
  std::printf("  %6.3f s  %6.3f s  %s\n", library, standard, name);
  return library <= standard;
}

// Nanoseconds for one move of the list of so many elements to another list and back.
double MoveAndBack(int elements) {
  constexpr int kMoves = 100000;
  LLNode* from = ListOf(std::vector<Record>(static_cast<std::size_t>(elements)));
  LLNode* to = ListOf(std::vector<Record>(2));
  const double seconds = Seconds([&] {
    for (int i = 0; i < kMoves; ++i) {
      MoveListAftLL(FirstElmLL(to), from);
      MoveTailLastLL(from, to, NextElmLL(FirstElmLL(to)));
      MoveTailLastLL(to, from, LastElmLL(from));
    }
  });
  DestLL(from);
  DestLL(to);
  return seconds / kMoves * 1e9;
}

}  // namespace

int main() {
  constexpr std::int64_t kCount = 1000000;
  std::mt19937 random(1);
  std::vector<Record> shuffled;
  std::vector<Record> ascending;
  std::vector<Record> descending;
  std::vector<Record> fewKeys;
  for (std::int64_t i = 0; i < kCount; ++i) {
    shuffled.push_back({static_cast<std::int64_t>(random()), i});
    ascending.push_back({i, i});
    descending.push_back({-i, i});
    fewKeys.push_back({static_cast<std::int64_t>(random() % 10), i});
  }
  std::printf("Sorting %d elements, the library's MergeSortLL and std::list::sort:\n",
              static_cast<int>(kCount));
  bool fast = MeasureSorting("random keys", shuffled);
  fast = MeasureSorting("ascending", ascending) && fast;
  fast = MeasureSorting("descending", descending) && fast;
  fast = MeasureSorting("ten different keys", fewKeys) && fast;
  std::printf("Moving a whole list into another and back:\n");
  for (const int elements : {10, 1000, 100000, 1000000}) {
    std::printf("  %6.1f ns  %7d elements\n", MoveAndBack(elements), elements);
  }
  std::printf(fast ? "MergeSortLL is no slower in any case.\n"
                   : "MergeSortLL is slower in at least one case.\n");
  return fast ? EXIT_SUCCESS : EXIT_FAILURE;
}
