#include "korvo/output.h"

#include "korvo/command.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "platform/terminal.h"
#include "store/names.h"
#include "store/progress_teller.h"
#include "store/server_config.h"

namespace korvo {
namespace {

bool wholeOutput = true;

platform::TextFile& Output() {
  static const std::unique_ptr<platform::TextFile> out = platform::TextFile::StandardOutput();
  return *out;
}

// On POSIX systems a terminal may take UTF-8 whatever the environment says.
const bool kMayBeUtf8 = platform::SeparatorOf("/") == '/';

// The line as it is printed. Without a terminal a program may read it, so only line breaks are replaced.
std::string Shown(const std::string& line, platform::Standard stream) {
  const std::string one = store::OneLine(line);
  return platform::ColumnsOf(stream) > 0 ? store::Harmless(one, kMayBeUtf8 || platform::TextIsUtf8()) : one;
}

}  // namespace

void PrintBytes(std::string_view bytes) {
  store::PrintBesideProgress([bytes] { wholeOutput = Output().Write(bytes) && wholeOutput; });
}

void Print(const std::string& line) { PrintBytes(Shown(line, platform::Standard::kOutput) + "\n"); }

bool FinishOutput() { return Output().Flush() && wholeOutput; }

void Complain(const std::string& line) {
  store::PrintBesideProgress([&line] {
    platform::WriteToStandardError("korvo: " + Shown(line, platform::Standard::kError) + "\n");
  });
}

int Fail(const store::Status& status) {
  Complain(status.Message());
  return kCouldNotRun;
}

store::Status OpenServer(const std::string& server, store::Store::Access access,
                         std::unique_ptr<store::Store>& store) {
  store::ServerConfig config;
  if (store::Status read = store::ReadServerConfig(server, config); !read) {
    return read;
  }
  if (store::Status opened = store::Store::Open(config, access, store); !opened) {
    return opened;
  }
  for (const std::string& note : store->Notes()) {
    Complain(note);
  }
  return {};
}

store::Status ListSavesets(store::Store& store, const std::string& database, const std::string& pool,
                           std::vector<store::Saveset>& savesets) {
  const std::string wanted = store::DatabaseOfSid(database);
  return store.Rows().ListAllSavesets([&](const store::Saveset& saveset) {
    if ((database.empty() || saveset.database == wanted) && (pool.empty() || saveset.pool == pool)) {
      savesets.push_back(saveset);
    }
    return store::Status();
  });
}

}  // namespace korvo
