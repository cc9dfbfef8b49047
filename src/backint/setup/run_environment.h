// What the calling tool tells about the database, in environment variables.
#pragma once

// Reads the variables that the function needs into BackintParams and writes each to standard output. Stops at
// the first one that is missing or too long: false, after a message. The caller writes the message that ends
// the run.
[[nodiscard]] bool ReadEnvironment();
