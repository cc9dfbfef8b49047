// What the mover is asked to do: its whole command and list, read and checked before any file is touched.
#pragma once

#include <string>

#include "store/status.h"
#include "xfr/name_list.h"

struct Request {
  bool restore = false;
  std::string server;
  std::string saveset;
  // Where a restore puts the items, whatever directories they came from; empty for their own places.
  std::string destination;
  bool replace = false;  // a restore may replace files
  // A backup of one item that backint took for a directory: it is saved whole.
  bool wholeDirectory = false;
  // In the form in which they are reported.
  NameList items;
};

// Reads the command line that `main` got, and the list that it names, into a new request. Fails if one of the
// two is wrong, or if the list cannot be read; then the request is not complete, and the message says why.
store::Status ReadRequest(int argc, const char* const* argv, Request& request);
