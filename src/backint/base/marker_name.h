// The file that stands for a subdirectory in a saveset of a directory's first level.
#pragma once

inline constexpr const char* kMarkerName = "korvo.dir";
