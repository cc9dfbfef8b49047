#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/facts.h"
#include "korvo/metrics_text.h"
#include "korvo/output.h"
#include "korvo/whole_file.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string file;
  std::optional<std::int64_t> maxAge;
};

int Metrics(const Options& options) {
  std::unique_ptr<store::Store> store;
  Facts facts;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  done = done ? GatherFacts(*store, facts) : done;
  done = done ? WriteWholeFile(options.file, MetricsText(options.server, facts, options.maxAge)) : done;
  if (!done) {
    return Fail(done);
  }
  return !options.maxAge || facts.AllYoungerThan(*options.maxAge) ? kGood : kFindings;
}

}  // namespace

void AddMetrics(Program& program) {
  Command command = program.Add("metrics", "Writes a file of metrics for a monitoring system.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operand("FILE", options->file, "The file, which is replaced as a whole");
  command.Duration("--max-age", options->maxAge,
                   "Also says which databases have no good backup that is younger");
  command.Explain(
      "The format is OpenMetrics text, as collectors of text files read it. If the repository cannot be "
      "read, the\n"
      "file stays as it was: korvo_metrics_timestamp_seconds says how old it is. Exit status 1 with "
      "--max-age if a\n"
      "database has no good backup that is younger.\n"
      "Example: korvo metrics prod /var/lib/prometheus/node-exporter/korvo_prod.prom --max-age 30h");
  command.Does([options] { return Metrics(*options); });
}

}  // namespace korvo
