// One call of the control tool, read from its command line and checked.
#pragma once

#include <string>

#include "store/catalog/catalog.h"
#include "store/status.h"

enum class CallVerb { kOpen, kOpenJob, kCloseJob, kClose, kQuery };

struct Call {
  CallVerb verb = CallVerb::kOpen;
  store::Mode mode = store::Mode::kBackup;
  std::string session;
  std::string server;  // as given, with its login: SERVER[:PORT][:USER:PASSWORD]
  std::string client;
  std::string job;
  std::string pool;
  std::string saveset;  // empty in a query that lists savesets
  store::State state = store::State::kGood;
  std::string sid;   // of a query
  std::string file;  // of a query, empty if it names none
};

// Reads the command line that `main` got into a new call. Fails if it is wrong; then the call is not
// complete, and the message says why.
store::Status ReadCall(int argc, const char* const* argv, Call& call);
