// The file that stands for a subdirectory when only the first level of a directory is saved.
#pragma once

inline constexpr const char* kMarkerName = "korvo.dir";
