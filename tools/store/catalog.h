// What the repository holds, and who asked for it: sessions, jobs, savesets, items. Every operation happens
// whole or not at all and is on the disk when it returns; several processes may work at once. Which engine
// keeps it is known to catalog.cpp alone.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/data_file.h"
#include "store/status.h"

namespace store {

// The numbers stand in the catalog.
enum class Mode { kBackup = 0, kRestore = 1 };
// How far the mover came that fills a saveset.
enum class Mover { kNone = 0, kRunning = 1, kEndedClean = 2, kEndedFailed = 3 };
// What the caller reports when it closes a job or a session.
enum class State { kGood = 0, kWarnings = 1, kFailed = 3 };

struct Session {
  std::int64_t id = 0;
  Mode mode = Mode::kBackup;
  bool closed = false;
};

struct Saveset {
  std::int64_t id = 0;
  std::string name;
  std::string database;
  bool hasItems = false;
};

// The numbers stand in the catalog.
enum class ItemKind {
  kFile = 0,
  kDirectory = 1,  // with everything in it, which are items of their own
  kLink = 2,
  kFirstLevel = 3,  // a directory in which every item of the saveset lies directly
};

struct Item {
  std::string name;  // as it was given
  ItemKind kind = ItemKind::kFile;
  bool inside = false;  // part of a directory that was saved whole
  std::string link;     // the text of a link
  platform::FileFacts facts;
  std::uint64_t position = 0;  // of its first block in the container
  std::string hash;            // of all its bytes
};

struct NewJob {
  std::int64_t session = 0;
  std::int64_t saveset = 0;
  Mode mode = Mode::kBackup;
  std::string name;
  std::string pool;
};

class Catalog {
 public:
  enum class Access { kCreate, kMustExist };

  Catalog();
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;
  ~Catalog();

  // Opens the catalog in this file, or makes it. A catalog of a newer schema is left alone.
  Status Open(const std::string& path, Access access);

  Status AddSession(Mode mode, std::string_view client, std::int64_t& id);
  Status FindSession(std::int64_t id, std::optional<Session>& session);
  // Ends the session and whatever job was left open in it.
  Status CloseSession(std::int64_t id, State state);

  // A new saveset of this name, or of the name with a number behind it if it is taken.
  Status AddSaveset(std::string_view proposed, std::string_view database, Saveset& saveset);
  Status FindSaveset(std::string_view name, std::optional<Saveset>& saveset);
  // Gives the saveset to this mover, once in its life; `claimed` is false if it had one.
  Status ClaimSaveset(std::int64_t saveset, bool& claimed);
  Status EndSaveset(std::int64_t saveset, Mover mover);

  Status AddJob(const NewJob& job);
  Status HasOpenJob(std::int64_t saveset, Mode mode, bool& open);
  // Closes the session's latest open job on the saveset; `found` is false without one.
  Status CloseJob(std::int64_t session, std::int64_t saveset, State state, bool& found);

  // An item that the saveset holds already stays as it is.
  Status AddItems(std::int64_t saveset, const std::vector<Item>& items);
  // The item that bears the name, else one that is shown by it. Separators at a name's end do not count.
  Status FindItem(std::int64_t saveset, std::string_view asked, std::optional<Item>& item);
  // What lies in the directory that bears the name, however deep, else in one that is shown by it; whatever
  // holds others stands before them. `directory` gets its name.
  Status FindItemsIn(std::int64_t saveset, std::string_view asked, std::string& directory,
                     std::vector<Item>& items);

  // Names of the savesets with items, newest first.
  Status ListSavesets(std::string_view database, std::vector<std::string>& names);
  // The same of those that hold the file or directory. Those that hold it by its own name come before those
  // where it is only shown by it; among each a saveset whose job was closed as failed although its mover had
  // ended clean comes last: its caller may have withdrawn it.
  Status ListSavesetsWith(std::string_view database, std::string_view file, std::vector<std::string>& names);
  // Names of the items in the order of their saving.
  Status ListItems(std::int64_t saveset, std::vector<std::string>& names);

 private:
  struct Engine;
  std::unique_ptr<Engine> engine_;
};

}  // namespace store
