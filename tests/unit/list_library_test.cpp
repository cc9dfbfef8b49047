#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "common/LL.h"
#include "support/dice.h"
#include "support/run_program.h"

namespace {

using Model = std::vector<std::string>;

std::string Bytes(const void* element) {
  return std::string(static_cast<const char*>(element), static_cast<std::size_t>(IsElmLL(element)));
}

// What stood in front of each element before a sort, and stands there as long as it goes on.
std::map<const void*, const void*> predecessors;

int ByFirstByte(void* first, void* second) {
  EXPECT_EQ(PrevElmLL(first), predecessors[first]);
  EXPECT_EQ(PrevElmLL(second), predecessors[second]);
  return Bytes(first)[0] - Bytes(second)[0];
}
int ByBytes(void* first, void* second) { return Bytes(first).compare(Bytes(second)); }

// A list and what ought to be in it. All that can be asked of it is compared.
void Check(const LLNode* list, const Model& model, Dice& dice) {
  Model forward;
  Model backward;
  for (void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
    forward.push_back(Bytes(element));
  }
  for (void* element = LastElmLL(list); IsElmLL(element) != 0; element = PrevElmLL(element)) {
    backward.insert(backward.begin(), Bytes(element));
  }
  ASSERT_EQ(forward, model);
  ASSERT_EQ(backward, model);
  const int size = static_cast<int>(model.size());
  EXPECT_EQ(SizeLL(list), size);
  EXPECT_EQ(IsEmptyLL(list), size == 0);
  const int number = static_cast<int>(dice.Below(model.size() + 1));
  const void* element = NthElmLL(list, number);
  EXPECT_EQ(IndexElmLL(list, element), number);
  EXPECT_EQ(IsNthElmLL(list, number - size - 1, element), 1);
  EXPECT_EQ(IsNthElmLL(list, number + 1, element), size == 0);
  EXPECT_EQ(RelNthElmLL(element, -number), list + 1);
  EXPECT_EQ(IsFirstElmLL(element), number == 1 || size == 0);
  EXPECT_EQ(IsLastElmLL(element), number == size);
  EXPECT_EQ(NextCElmLL(element), NthElmLL(list, size == 0 ? 0 : number % size + 1));
  EXPECT_EQ(PrevCElmLL(element), NthElmLL(list, number <= 1 ? size : number - 1));
}

// A place in one of two lists: its front, its end, behind or in front of an element or the head position.
struct Place {
  Place(Dice& dice, LLNode* const (&lists)[2], Model (&models)[2])
      : which(dice.Below(2)), list(lists[which]), model(models[which]), way(dice.Below(4)) {
    const std::size_t at = dice.Below(model.size() + 1);
    element = NthElmLL(list, static_cast<int>(at) + 1);
    const std::size_t indexes[] = {0, model.size(), at == model.size() ? 0 : at + 1, at};
    index = model.begin() + static_cast<std::ptrdiff_t>(indexes[way]);
  }

  template <class OnList, class OnElement, class... Arguments>
  void* Call(OnList first, OnList last, OnElement behind, OnElement before, Arguments... arguments) const {
    return way < 2 ? (way == 0 ? first : last)(list, arguments...)
                   : (way == 2 ? behind : before)(element, arguments...);
  }

  std::size_t which;
  LLNode* list;
  Model& model;
  std::size_t way;
  void* element;
  Model::iterator index;  // where in the model a new element goes
};

void Insert(const Place& to, Dice& dice, void*& loose) {
  std::string bytes(1 + dice.Below(40), static_cast<char>('a' + dice.Below(20)));
  bytes[0] = static_cast<char>('0' + dice.Below(10));
  bytes = loose != nullptr ? Bytes(loose) : bytes;
  if (loose == nullptr) {
    EXPECT_NE(to.Call(InsFirstLLf, InsLastLLf, InsAftLLf, InsBefLLf, bytes.size(), bytes.data()), nullptr);
  } else if (dice.OneIn(2)) {
    EXPECT_EQ(to.Call(LinkFirstLL, LinkLastLL, LinkAftLL, LinkBefLL, loose), loose);
  } else {
    EXPECT_EQ(to.Call(LinkInsFirstLLf, LinkInsLastLLf, LinkInsAftLLf, LinkInsBefLLf, bytes.size(), loose),
              loose);
  }
  to.model.insert(to.index, bytes);
  loose = nullptr;
}

void Remove(const Place& from, Dice& dice, void*& loose) {
  void* const results[] = {from.element, NextElmLL(from.element), PrevElmLL(from.element)};
  const std::size_t way = dice.Below(3);
  from.model.erase(from.model.begin() + (IndexElmLL(from.list, from.element) - 1));
  if (loose == nullptr) {
    loose = from.element;
    EXPECT_EQ((way == 0 ? UnlinkLL : way == 1 ? UnlinkNeLL : UnlinkPrLL)(from.element), results[way]);
  } else if (way == 0) {
    DelElmLL(from.element);
  } else {
    EXPECT_EQ((way == 1 ? DelElmNeLL : DelElmPrLL)(from.element), results[way]);
  }
}

void Move(const Place& to, LLNode* source, Model& model, Dice& dice) {
  const auto cut = static_cast<std::ptrdiff_t>(dice.Below(model.size() + 1));
  void* at = NthElmLL(source, static_cast<int>(cut) + 1);
  const std::size_t part = dice.Below(3);
  EXPECT_EQ(part == 0   ? to.Call(MoveListFirstLL, MoveListLastLL, MoveListAftLL, MoveListBefLL, source)
            : part == 1 ? to.Call(MoveHeadFirstLL, MoveHeadLastLL, MoveHeadAftLL, MoveHeadBefLL, source, at)
                        : to.Call(MoveTailFirstLL, MoveTailLastLL, MoveTailAftLL, MoveTailBefLL, source, at),
            to.way < 2 ? to.list : to.element);
  const auto begin = model.begin() + (part == 2 ? cut : 0);
  const auto end = part == 1 ? model.begin() + cut : model.end();
  to.model.insert(to.index, begin, end);
  model.erase(begin, end);
}

void Arrange(LLNode* list, Model& model, Dice& dice) {
  if (dice.OneIn(3)) {
    EXPECT_EQ(ReverseLL(list), list);
    std::reverse(model.begin(), model.end());
  } else if (dice.OneIn(3)) {
    EXPECT_EQ(SysSortLL(list, ByBytes), list);
    std::sort(model.begin(), model.end());
  } else {
    for (void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
      predecessors[element] = PrevElmLL(element);
    }
    EXPECT_EQ(MergeSortLL(list, ByFirstByte), list);
    std::stable_sort(model.begin(), model.end(), [](auto& a, auto& b) { return a[0] < b[0]; });
  }
}

void Copy(LLNode* list, const Model& model, Dice& dice) {
  LLNode* copies = ConsCopyLL(list);
  LLNode* pointers = ConsPtrLL(list);
  void** array = LookInLL(list);
  EXPECT_EQ(array[0], list);
  for (int i = 1; i <= SizeLL(list); ++i) {
    EXPECT_EQ(array[i], NthElmLL(list, i));
    EXPECT_EQ(array[i], *static_cast<void**>(NthElmLL(pointers, i)));
  }
  EXPECT_EQ(SizeLL(pointers), SizeLL(list));
  Check(copies, model, dice);
  EXPECT_EQ(IndexElmLL(list, FirstElmLL(copies)), 0);
  std::free(static_cast<void*>(array));
  DestLL(pointers);
  DestLL(copies);
}

// Deletes the elements in front of the first whose bytes begin with a 9.
void Apply(LLNode* list, Model& model) {
  const auto end = std::find_if(model.begin(), model.end(), [](auto& bytes) { return bytes[0] == '9'; });
  EXPECT_EQ(
      ApplyLL(list, [](void* element) { return Bytes(element)[0] == '9' ? 9 : (DelElmLL(element), 0); }),
      end == model.end() ? 0 : 9);
  model.erase(model.begin(), end);
}

TEST(ListLibrary, DoesAsAPlainModelDoes) {
  LLNode head;
  LLNode* const lists[2] = {ConsLL(), InitLL(&head)};
  Model models[2];
  void* loose = nullptr;  // an element that is in no list
  Dice dice(1);
  std::size_t longest = 0;
  for (int step = 0; step < 10000 && !HasFailure(); ++step) {
    const Place place(dice, lists, models);
    const std::size_t operation = dice.Below(50);
    if (operation < 18) {
      Insert(place, dice, loose);
    } else if (operation < 30 && IsElmLL(place.element) != 0) {
      Remove(place, dice, loose);
    } else if (operation < 40) {
      Move(place, lists[1 - place.which], models[1 - place.which], dice);
    } else if (operation < 48) {
      Arrange(place.list, place.model, dice);
    } else if (operation < 49) {
      Copy(place.list, place.model, dice);
    } else {
      Apply(place.list, place.model);
    }
    longest = std::max(longest, place.model.size());
    Check(lists[0], models[0], dice);
    Check(lists[1], models[1], dice);
  }
  EXPECT_GT(longest, 50U);
  std::free(loose == nullptr ? nullptr : static_cast<LLNode*>(loose) - 1);
  EXPECT_EQ(DestLL(lists[0]), nullptr);
  EXPECT_EQ(IsEmptyLL(EmptyLL(&head)), 1);
}

std::string WithoutReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

TEST(ListLibrary, EndsTheProcessWithoutMemory) {
  const char* const names[] = {"", "InsLLf", "CreatLL", "LookInLL", "SysSortLL"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    const support::ProgramRun run =
        support::RunProgram(support::BuiltProgram("exhausted"), {std::to_string(i)}, {}, ".");
    const std::string line = "In " + std::string(names[i]) + ": malloc returned NULL \n";
    EXPECT_EQ(WithoutReturns(run.err), i == 0 ? "" : line);
    EXPECT_EQ(run.exitStatus & 0xFF, i == 0 ? 0 : 0xFF);
  }
}

TEST(CommonLibrary, WorksBesideFunctionsOfTheProgramWithTheSameNames) {
  const support::TemporaryDirectory directory;
  support::WriteWholeFile(directory.File("servers.ini"), "[prod]\nx=%(y)/b\ny=a-k\n");
  const auto run =
      support::RunProgram(support::BuiltProgram("own_functions"), {directory.File("servers.ini")}, {}, ".");
  EXPECT_EQ(WithoutReturns(run.out) + run.err, "5 a-k/b a-%5ck%5cb\n");
}

TEST(CommonLibrary, HasTheVersionOfThePackage) {
  EXPECT_STREQ(BACKINT_COMMON_VERSION, PRODUCT_VERSION);
  int numbers[3] = {};
  ASSERT_EQ(std::sscanf(PRODUCT_VERSION, "%d.%d.%d", &numbers[0], &numbers[1], &numbers[2]), 3);
  EXPECT_EQ(BACKINT_COMMON_VERSION_NUMBER, (numbers[0] * 100 + numbers[1]) * 100 + numbers[2]);
}

// Every exported function has its line in one of the library's manual pages, and is declared in a header.
TEST(CommonLibrary, HasAManualPageForEachFunction) {
  const std::string pages = support::ReadWholeFile(SOURCE_FOLDER "/packaging/man/backint_LL.3") +
                            support::ReadWholeFile(SOURCE_FOLDER "/packaging/man/backint_cm_common.3");
  std::istringstream names(support::ReadWholeFile(SOURCE_FOLDER "/src/common/exports.txt"));
  int count = 0;
  for (std::string name; std::getline(names, name); ++count) {
    EXPECT_TRUE(std::regex_search(pages, std::regex("\\n\\.BI \"[^\n]*\\b" + name + "\\("))) << name;
  }
  EXPECT_GT(count, 80);
}

TEST(LibraryPage, ShowsAProgramThatPrintsWhatItSays) {
  const std::string page = support::ReadWholeFile(SOURCE_FOLDER "/docs/library.md");
  const auto block = [&](const std::string& before) {
    const std::size_t start = page.find(before) + before.size();
    return page.substr(start, page.find("```", start) - start);
  };
  const support::TemporaryDirectory directory;
  const std::string file = directory.File("servers.ini");
  support::WriteWholeFile(file, block("`servers.ini`,\n\n```\n"));
  const auto run = support::RunProgram(support::BuiltProgram("library_example"), {file}, {}, ".");
  EXPECT_EQ(WithoutReturns(run.out), block("prints\n\n```\n"));
}

}  // namespace
