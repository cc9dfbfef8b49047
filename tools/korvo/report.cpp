#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/facts.h"
#include "korvo/output.h"
#include "korvo/page.h"
#include "korvo/text.h"
#include "korvo/whole_file.h"

namespace korvo {
namespace {

// For one backup a day, which takes some hours.
constexpr std::int64_t kUsualMaxAge = 30 * std::int64_t{3600};

struct Options {
  std::string server;
  std::string file;
  std::optional<std::int64_t> maxAge;
};

int Report(const Options& options) {
  std::unique_ptr<store::Store> store;
  Facts facts;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  done = done ? GatherFacts(*store, facts) : done;
  const std::int64_t maxAge = options.maxAge.value_or(kUsualMaxAge);
  if (done) {
    done =
        WriteWholeFile(options.file, ReportPage({options.server, store->Config().repository, maxAge}, facts));
  }
  if (!done) {
    return Fail(done);
  }
  Print("The report is " + options.file + ".");
  const bool late = options.maxAge && !facts.AllYoungerThan(maxAge);
  return late || facts.damagedPacks > 0 ? kFindings : kGood;
}

}  // namespace

void AddReport(Program& program) {
  Command command = program.Add("report", "Writes a page for the person who answers for the backups.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operand("FILE.html", options->file, "The page, which is replaced as a whole");
  command.Duration("--max-age", options->maxAge,
                   "How old the newest good backup of a database may be; 30h unless it is given");
  command.Explain(
      "The page needs nothing besides itself: open it in any browser, send it, print it. Exit status 1 if a "
      "pack\n"
      "is damaged or, with --max-age, if a database has no good backup that is younger.\n"
      "Example: korvo report prod backups.html --max-age 30h");
  command.Does([options] { return Report(*options); });
}

}  // namespace korvo
