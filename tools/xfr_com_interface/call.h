// What the control tool is asked to do, checked.
#pragma once

#include <string>

#include "store/catalog/catalog.h"
#include "store/status.h"

enum class CallVerb { kOpen, kOpenJob, kCloseJob, kClose, kQuery };

struct Call {
  CallVerb verb = CallVerb::kOpen;
  store::Mode mode = store::Mode::kBackup;
  std::string session;
  std::string server;  // in its login form
  std::string client;
  std::string job;
  std::string pool;
  std::string saveset;  // empty in a query for all
  store::State state = store::State::kGood;
  std::string sid;   // of a query
  std::string file;  // of a query, empty if it names none
};

store::Status ReadCall(int argc, const char* const* argv, Call& call);
