/* The lines of a profile that count for a look-up. For the reader's own files. */
#ifndef COMMON_PROFILE_WALK_H
#define COMMON_PROFILE_WALK_H

#include <stdbool.h>
#include <stdio.h>
#include <string.h>

enum { kLineSize = 1024, kSectionSize = 64 };

typedef struct Walk {
  FILE* file;
  enum { kBeforeSection, kInSection, kAfterSection, kWholeFile } state;
  char header[kSectionSize]; /* what the section's header begins with, in lower case */
  char line[kLineSize];
  char lowered[kLineSize];
} Walk;

static inline bool IsGiven(const char* text) { return text != NULL && *text != '\0'; }

static inline bool StartsWith(const char* text, const char* start) {
  return strncmp(text, start, strlen(start)) == 0;
}

static inline bool EndsWith(const char* text, char character) {
  return *text != '\0' && text[strlen(text) - 1] == character;
}

/* Opens the file; false if it cannot be read. */
bool cm_WalkOpen(Walk* walk, const char* path);
void cm_WalkClose(Walk* walk);

/* Chooses the section. If it is null or empty, all lines count. With `addBrackets`, missing brackets are
   added. */
void cm_WalkEnter(Walk* walk, const char* section, bool addBrackets);

/* Reads the next line that counts into `line` and `lowered`. False at the end of the section or the file. */
bool cm_WalkNext(Walk* walk);

#endif
