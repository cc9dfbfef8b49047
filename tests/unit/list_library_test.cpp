#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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

int ByFirstByte(void* first, void* second) { return Bytes(first)[0] - Bytes(second)[0]; }
int ByBytes(void* first, void* second) { return Bytes(first).compare(Bytes(second)); }

// Two lists, what ought to be in them, and an element that may be in neither.
class Lists {
 public:
  explicit Lists(unsigned seed) : dice_(seed) { InitLL(&own_); }
  Lists(const Lists&) = delete;
  Lists& operator=(const Lists&) = delete;
  ~Lists() {
    EXPECT_EQ(DestLL(made_), nullptr);
    EXPECT_EQ(EmptyLL(&own_), &own_);
    std::free(loose_ == nullptr ? nullptr : static_cast<LLNode*>(loose_) - 1);
  }

  void Step() {
    using Operation = void (Lists::*)();
    constexpr Operation kOperations[] = {&Lists::Insert,  &Lists::Insert, &Lists::Insert, &Lists::Link,
                                         &Lists::Remove,  &Lists::Remove, &Lists::Move,   &Lists::Move,
                                         &Lists::Reverse, &Lists::Sort,   &Lists::Copy,   &Lists::Apply};
    Pick();
    (this->*kOperations[dice_.Below(std::size(kOperations))])();
    Check(made_, models_[0]);
    Check(&own_, models_[1]);
  }

 private:
  // Chooses a list, and a place in it: its front, its end, behind or in front of an element or the head
  // position.
  void Pick() {
    const std::size_t which = dice_.Below(2);
    list_ = which == 0 ? made_ : &own_;
    other_ = which == 0 ? &own_ : made_;
    model_ = &models_[which];
    otherModel_ = &models_[1 - which];
    way_ = dice_.Below(4);
    const std::size_t size = model_->size();
    index_ = dice_.Below(size + 1);
    place_ = NthElmLL(list_, static_cast<int>(index_) + 1);
    const std::size_t indexes[] = {0, size, index_ == size ? 0 : index_ + 1, index_};
    index_ = indexes[way_];
  }

  template <class OnList, class OnPlace, class... Arguments>
  void* Call(OnList first, OnList last, OnPlace behind, OnPlace before, Arguments... arguments) {
    return way_ < 2 ? (way_ == 0 ? first : last)(list_, arguments...)
                    : (way_ == 2 ? behind : before)(place_, arguments...);
  }

  static Model::iterator Position(Model& model, std::size_t index) {
    return model.begin() + static_cast<std::ptrdiff_t>(index);
  }

  void Insert() {
    std::string bytes(1 + dice_.Below(40), static_cast<char>('a' + dice_.Below(20)));
    bytes[0] = static_cast<char>('0' + dice_.Below(10));
    EXPECT_EQ(Bytes(Call(InsFirstLLf, InsLastLLf, InsAftLLf, InsBefLLf, bytes.size(), bytes.data())), bytes);
    model_->insert(Position(*model_, index_), bytes);
  }

  void Link() {
    if (loose_ != nullptr) {
      const std::string bytes = Bytes(loose_);
      model_->insert(Position(*model_, index_), bytes);
      EXPECT_EQ(dice_.OneIn(2) ? Call(LinkFirstLL, LinkLastLL, LinkAftLL, LinkBefLL, loose_)
                               : Call(LinkInsFirstLLf, LinkInsLastLLf, LinkInsAftLLf, LinkInsBefLLf,
                                      bytes.size(), loose_),
                loose_);
      loose_ = nullptr;
    }
  }

  void Remove() {
    if (IsElmLL(place_) != 0) {
      const std::size_t result = dice_.Below(3);
      const void* const expected[] = {place_, NextElmLL(place_), PrevElmLL(place_)};
      model_->erase(Position(*model_, static_cast<std::size_t>(IndexElmLL(list_, place_) - 1)));
      if (loose_ == nullptr) {
        loose_ = place_;
        EXPECT_EQ((result == 0 ? UnlinkLL : result == 1 ? UnlinkNeLL : UnlinkPrLL)(place_), expected[result]);
      } else if (result == 0) {
        DelElmLL(place_);
      } else {
        EXPECT_EQ((result == 1 ? DelElmNeLL : DelElmPrLL)(place_), expected[result]);
      }
    }
  }

  void Move() {
    const std::size_t cut = dice_.Below(otherModel_->size() + 1);
    void* at = NthElmLL(other_, static_cast<int>(cut) + 1);
    const std::size_t part = dice_.Below(3);
    EXPECT_EQ(part == 0   ? Call(MoveListFirstLL, MoveListLastLL, MoveListAftLL, MoveListBefLL, other_)
              : part == 1 ? Call(MoveHeadFirstLL, MoveHeadLastLL, MoveHeadAftLL, MoveHeadBefLL, other_, at)
                          : Call(MoveTailFirstLL, MoveTailLastLL, MoveTailAftLL, MoveTailBefLL, other_, at),
              way_ < 2 ? list_ : place_);
    const auto begin = Position(*otherModel_, part == 2 ? cut : 0);
    const auto end = Position(*otherModel_, part == 1 ? cut : otherModel_->size());
    model_->insert(Position(*model_, index_), begin, end);
    otherModel_->erase(begin, end);
  }

  void Reverse() {
    EXPECT_EQ(ReverseLL(list_), list_);
    std::reverse(model_->begin(), model_->end());
  }

  void Sort() {
    if (dice_.OneIn(2)) {
      EXPECT_EQ(MergeSortLL(list_, ByFirstByte), list_);
      std::stable_sort(model_->begin(), model_->end(), [](auto& a, auto& b) { return a[0] < b[0]; });
    } else {
      EXPECT_EQ(SysSortLL(list_, ByBytes), list_);
      std::sort(model_->begin(), model_->end());
    }
  }

  void Copy() {
    LLNode* copies = ConsCopyLL(list_);
    LLNode* pointers = ConsPtrLL(list_);
    void** array = LookInLL(list_);
    EXPECT_EQ(array[0], list_);
    for (int i = 1; i <= SizeLL(list_); ++i) {
      EXPECT_EQ(array[i], NthElmLL(list_, i));
      EXPECT_EQ(array[i], *static_cast<void**>(NthElmLL(pointers, i)));
      EXPECT_NE(array[i], NthElmLL(copies, i));
    }
    EXPECT_EQ(SizeLL(pointers), SizeLL(list_));
    Check(copies, *model_);
    std::free(static_cast<void*>(array));
    DestLL(pointers);
    DestLL(copies);
  }

  // Deletes the elements in front of the first whose bytes begin with a 9.
  void Apply() {
    const auto deleteElement = [](void* element) {
      return Bytes(element)[0] == '9' ? 9 : (DelElmLL(element), 0);
    };
    const auto end =
        std::find_if(model_->begin(), model_->end(), [](auto& bytes) { return bytes[0] == '9'; });
    EXPECT_EQ(ApplyLL(list_, deleteElement), end == model_->end() ? 0 : 9);
    model_->erase(model_->begin(), end);
  }

  void Check(const LLNode* list, const Model& model) {
    const int size = static_cast<int>(model.size());
    Model forward;
    for (void* element = FirstElmLL(list); IsElmLL(element) != 0; element = NextElmLL(element)) {
      forward.push_back(Bytes(element));
    }
    Model backward;
    for (void* element = LastElmLL(list); IsElmLL(element) != 0; element = PrevElmLL(element)) {
      backward.insert(backward.begin(), Bytes(element));
    }
    EXPECT_EQ(forward, model);
    EXPECT_EQ(backward, model);
    EXPECT_EQ(SizeLL(list), size);
    EXPECT_EQ(IsEmptyLL(list), size == 0);
    const int number = static_cast<int>(dice_.Below(model.size() + 1));
    const void* element = NthElmLL(list, number);
    EXPECT_EQ(IndexElmLL(list, element), number);
    EXPECT_EQ(IndexElmLL(list == made_ ? &own_ : made_, element), 0);
    EXPECT_EQ(IsNthElmLL(list, number - size - 1, element), 1);
    EXPECT_EQ(IsNthElmLL(list, number + 1, element), size == 0);
    EXPECT_EQ(RelNthElmLL(element, -number), list + 1);
    EXPECT_EQ(IsFirstElmLL(element), number == 1 || size == 0);
    EXPECT_EQ(IsLastElmLL(element), number == size);
    EXPECT_EQ(NextCElmLL(element), NthElmLL(list, size == 0 ? 0 : number % size + 1));
    EXPECT_EQ(PrevCElmLL(element), NthElmLL(list, number <= 1 ? size : number - 1));
  }

  Dice dice_;
  LLNode* made_ = ConsLL();
  LLNode own_{};
  Model models_[2];
  void* loose_ = nullptr;

  // What was picked; `index_` is where in the model an element at that place goes.
  LLNode* list_ = nullptr;
  LLNode* other_ = nullptr;
  Model* model_ = nullptr;
  Model* otherModel_ = nullptr;
  std::size_t way_ = 0;
  void* place_ = nullptr;
  std::size_t index_ = 0;
};

TEST(ListLibrary, DoesAsAPlainModelDoes) {
  for (unsigned seed = 1; seed <= 30 && !HasFailure(); ++seed) {
    Lists lists(seed);
    for (int step = 0; step < 300 && !HasFailure(); ++step) {
      lists.Step();
    }
    EXPECT_FALSE(HasFailure()) << "seed " << seed;
  }
}

std::string WithoutReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

TEST(ListLibrary, EndsTheProcessWithoutMemory) {
  const char* const names[] = {"", "InsLLf", "CreatLL", "LookInLL", "SysSortLL"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    const support::ProgramRun run = support::RunProgram(
        support::BuiltProgram("exhausted"), {std::to_string(i)}, support::CurrentEnvironment(), ".");
    const std::string line = "In " + std::string(names[i]) + ": malloc returned NULL \n";
    EXPECT_EQ(WithoutReturns(run.err), i == 0 ? "" : line);
    EXPECT_EQ(run.exitStatus & 0xFF, i == 0 ? 0 : 0xFF);
  }
}

TEST(LibraryPage, ShowsAProgramThatPrintsWhatItSays) {
  const std::string page = support::ReadWholeFile(LIBRARY_PAGE);
  const auto block = [&](const std::string& before) {
    const std::size_t start = page.find(before) + before.size();
    return page.substr(start, page.find("```", start) - start);
  };
  const support::TemporaryDirectory directory;
  support::WriteWholeFile(directory.File("servers.ini"), block("`servers.ini`,\n\n```\n"));
  const support::ProgramRun run =
      support::RunProgram(support::BuiltProgram("library_example"), {directory.File("servers.ini")},
                          support::CurrentEnvironment(), ".");
  EXPECT_EQ(WithoutReturns(run.out), block("prints\n\n```\n"));
}

}  // namespace
