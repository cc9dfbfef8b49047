// The interface to whatever keeps the store's objects. An object is immutable: it comes whole or not at all,
// is never changed, and goes whole. Nothing here knows what is in it.
//
// Names are paths of lower-case letters, digits, points and slashes. They are unique by themselves (they
// contain a random number): no rule of the store depends on a place that refuses a name that is taken.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "store/base/uid.h"
#include "store/status.h"

namespace store {

// An object that is being written. Nobody finds it before it is finished; if it is destroyed unfinished, it
// is gone. After the first failure every further call fails too: nothing is tried again.
class NewObject {
 public:
  NewObject() = default;
  NewObject(const NewObject&) = delete;
  NewObject& operator=(const NewObject&) = delete;
  virtual ~NewObject() = default;

  virtual Status Append(std::string_view bytes) = 0;
  // No more bytes come. What `Finish` has to do may begin now, while the caller does something else.
  virtual void BeginFinish() {}
  // When the status is good, the object is there, whole and durable, also after a power cut. When it is not,
  // the object may be there or not.
  virtual Status Finish() = 0;
};

// As long as this object lives, others find the run alive.
class RunHold {
 public:
  RunHold() = default;
  RunHold(const RunHold&) = delete;
  RunHold& operator=(const RunHold&) = delete;
  virtual ~RunHold() = default;
};

class Place {
 public:
  Place() = default;
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;
  virtual ~Place() = default;

  // The size in bytes at which it is best to end an object.
  [[nodiscard]] virtual std::uint64_t BestObjectSize() const = 0;

  virtual Status Create(const std::string& name, std::unique_ptr<NewObject>& object) = 0;
  // Create, append, finish.
  Status Put(const std::string& name, std::string_view bytes);

  // Reads exactly `size` bytes from `offset` on. kMissing if there is no such object, kDamaged if it ends
  // before, or if the disk has lost them.
  virtual Status Get(const std::string& name, std::uint64_t offset, std::size_t size, std::string& bytes) = 0;
  // Reads all of a small object, which several programs may be writing at this moment: while it is replaced,
  // a server may say that there is none, but list it. If there is no such object, `bytes` and `size` are
  // empty; if it has more than `most` bytes, only `bytes` is.
  Status GetSmall(const std::string& name, std::uint64_t most, std::optional<std::uint64_t>& size,
                  std::string& bytes);
  // The object's size in bytes; none if there is no such object.
  virtual Status Size(const std::string& name, std::optional<std::uint64_t>& size) = 0;
  // Gives all finished objects whose names begin with `prefix`, in no order; the locks of runs are not among
  // them. Ends early with a failure that `each` returns.
  using Each = std::function<Status(const std::string& name, std::uint64_t size)>;
  virtual Status List(const std::string& prefix, const Each& each) = 0;
  // Deletes the object, or what was written of one that was never finished. A missing one is no failure.
  virtual Status Delete(const std::string& name) = 0;

  // What else the place can do, found out by trying: a text for people, empty if there is nothing to tell.
  // Asked when a repository is made; no rule depends on it.
  virtual Status Explore(std::string& abilities) {
    abilities.clear();
    return {};
  }

  // Marks this process as the one that carries out the run.
  virtual Status HoldRun(const Uid& run, std::unique_ptr<RunHold>& hold) = 0;
  // Whether the run's process is gone, and what it held with it. Never true for a run that is alive, nor for
  // one of which this machine cannot tell.
  virtual Status IsRunGone(const Uid& run, bool& gone) = 0;

 private:
  Status IsListed(const std::string& name, bool& listed);
};

// ---- Names of objects ------------------------------------------------------------------------------------

inline constexpr const char* kRepositoryObject = "repository";
// Where the catalog is, if that is in a database: a text for people.
inline constexpr const char* kCatalogObject = "catalog";
inline constexpr const char* kPackPrefix = "packs/";
inline constexpr const char* kSavesetPrefix = "savesets/";
// packs/3f/3fa0...
[[nodiscard]] std::string PackObject(const Uid& pack);
// Reads the id from such a name. False if its last part is no id; the rest of the name is not looked at.
[[nodiscard]] bool UidOfPack(std::string_view name, Uid& uid);
// savesets/9c01....begin, and .end, .closed, .failed, .protected
[[nodiscard]] std::string SavesetObject(const Uid& saveset, std::string_view which);
// Reads the id from such a name, whatever the object tells of the saveset. False if there is none in it.
[[nodiscard]] bool UidOfSaveset(std::string_view name, Uid& uid);
// runs/9c01...: what a run that is gone has left of its lock. To be deleted after everything else of the run.
inline constexpr const char* kRunPrefix = "runs/";
[[nodiscard]] std::string RunObject(const Uid& run);

}  // namespace store
