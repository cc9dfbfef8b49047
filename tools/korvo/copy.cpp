#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/text.h"
#include "platform/platform.h"
#include "store/copy/repository_copy.h"
#include "store/open_store.h"
#include "store/progress_row.h"
#include "store/progress_teller.h"
#include "store/repository_place.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string to;
  bool json = false;
  bool quiet = false;
};

// What is damaged and therefore not copied.
struct LeftOut {
  Json damages = Json::Array();
  std::uint64_t items = 0;
};

store::CheckListener Listener(const Options& options, LeftOut& left) {
  store::CheckListener listener;
  listener.damaged = [&](const store::Damage& damage) {
    if (!options.json) {
      Print("Damage: " + damage.what);
    }
    left.damages.Add({{"what", JsonText(damage.what)}, {"left_out", Json::Array()}});
  };
  listener.lost = [&](const std::string& saveset, const std::string& item) {
    ++left.items;
    if (!options.json) {
      Print("  left out is " + item + " of saveset " + saveset);
    } else if (!left.damages.IsEmpty()) {
      left.damages.Last()["left_out"].Add({{"saveset", JsonText(saveset)}, {"name", JsonText(item)}});
    }
  };
  return listener;
}

// The second repository must have another place and another catalog.
store::Status CheckIsAnother(const Options& options, const store::ServerConfig& from,
                             const store::ServerConfig& to) {
  if (to.repository == from.repository && to.bucket.endpoint == from.bucket.endpoint) {
    return store::Status::Failed("server " + options.to + " has the same repository: --to needs another one");
  }
  if (to.database.empty() && from.database.empty() && store::CatalogPath(to) == store::CatalogPath(from)) {
    return store::Status::Failed("server " + options.to +
                                 " has the same catalog: let catalog name another file in its section");
  }
  if (!to.database.empty() && to.database == from.database && to.catalogSchema == from.catalogSchema) {
    return store::Status::Failed("server " + options.to +
                                 " has its catalog in the same schema: let catalog_schema name another one");
  }
  return {};
}

store::Status Open(const Options& options, std::unique_ptr<store::Store>& from,
                   std::unique_ptr<store::Store>& to) {
  store::ServerConfig target;
  std::string object;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, from);
  if (done) {
    done = store::ReadServerConfig(options.to, target);
  }
  if (done) {
    done = CheckIsAnother(options, from->Config(), target);
  }
  if (done) {
    done = store::ReadRepositoryObject(from->Objects(), object);
  }
  if (done) {
    done = store::Store::OpenCopy(target, from->Id(), object, to);
  }
  // Of a repository that encrypts, the copy needs the same keys.
  return done ? to->Secrets().CanSave().Within("server " + options.to) : done;
}

void Tell(const Options& options, const store::RepositoryCopy::Result& result, const LeftOut& left) {
  if (options.json) {
    PrintJson({{"server", JsonText(options.server)},
               {"to", JsonText(options.to)},
               {"good", left.damages.IsEmpty()},
               {"savesets", result.savesets},
               {"savesets_there", result.there},
               {"savesets_open", result.open},
               {"savesets_later", result.later},
               {"packs", result.packs},
               {"packs_mended", result.mended},
               {"bytes", result.bytes},
               {"damages", left.damages}});
    return;
  }
  Print(Count(result.savesets, "saveset") + " came to " + options.to + " with " +
        Count(result.packs, "pack") + ", " + SizeText(result.bytes) + "; " + Count(result.there, "saveset") +
        " had been there.");
  if (result.mended > 0) {
    Print(Count(result.mended, "pack") + " that " + (result.mended == 1 ? "was" : "were") +
          " damaged there came anew.");
  }
  if (result.open > 0) {
    Print(Count(result.open, "saveset") + " of a backup that is not over: the next copy brings it.");
  }
  if (result.later > 0) {
    Print(Count(result.later, "saveset") + " of which " + options.to +
          " is deleting something: the next copy brings it.");
  }
  if (left.items > 0) {
    Print(Count(left.items, "item") + " left out, since a pack is damaged.");
  }
}

int Copy(const Options& options) {
  platform::WatchInterrupts();
  std::unique_ptr<store::Store> from;
  std::unique_ptr<store::Store> to;
  LeftOut left;
  store::RepositoryCopy::Result result;
  store::Status done = Open(options, from, to);
  if (done) {
    store::ProgressRow gives(*from, "copy", nullptr);
    store::ProgressRow takes(*to, "copy", nullptr);
    const auto tell = [&] {
      gives.Tell();
      takes.Tell();
    };
    const store::ProgressTeller teller(from->Work(), {.line = !options.quiet, .tell = tell});
    done = store::RepositoryCopy(*from, *to, Listener(options, left)).Run(result);
  }
  if (!done) {
    return Fail(done);
  }
  Tell(options, result, left);
  return left.damages.IsEmpty() ? kGood : kFindings;
}

}  // namespace

void AddCopy(Program& program) {
  Command command = program.Add("copy", "Brings a second repository what it lacks.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.NeededOption("--to", "SERVER", options->to, "The server of the copy, another section of korvo.ini");
  command.Json(options->json);
  command.Quiet(options->quiet);
  command.Explain(
      "The first copy makes the second repository. It can be restored from, verified and thinned out like "
      "the\n"
      "first one; what is deleted in one of the two stays in the other. Backups may go on meanwhile: "
      "savesets\n"
      "whose backup is not over, or that are marked to be deleted, do not come. An interrupted copy lists "
      "only\n"
      "what is whole, and goes on when it is called again. One that encrypts needs the same key files.\n"
      "A damaged pack does not come, nor what needs it: exit status 1 then.\n"
      "Example: korvo copy prod --to second");
  command.Does([options] { return Copy(*options); });
}

}  // namespace korvo
