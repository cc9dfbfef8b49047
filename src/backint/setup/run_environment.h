// What the calling tool says about the database in environment variables.
#pragma once

// Reads the variables that the function needs into BackintParams and echoes each on standard output. False,
// with its message given, at the first that is missing or too long; those behind it are not read. The last
// failure to be told is the caller's.
[[nodiscard]] bool ReadEnvironment();
