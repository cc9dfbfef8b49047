#include "common/profile_walk.h"

#include <stdlib.h>

#include "common/cm_common.h"
#include "common/own_text.h"

/* Null for something that can be opened but not read, such as a directory on some systems. */
static FILE* OpenReadable(const char* path) {
  FILE* file = fopen(path, "rb");
  if (file == NULL) {
    return NULL;
  }
  const int first = getc(file);
  if (first == EOF && ferror(file) != 0) {
    fclose(file);
    return NULL;
  }
  ungetc(first, file);
  return file;
}

/* Opens the file. A path with backslashes means the same on every system. */
static FILE* OpenEitherWay(const char* path) {
  FILE* file = OpenReadable(path);
  if (file == NULL && strchr(path, '\\') != NULL) {
    const size_t size = strlen(path) + 1;
    char* other = malloc(size);
    if (other != NULL) {
      memcpy(other, path, size);
      file = OpenReadable(szPath2Unix(other));
      free(other);
    }
  }
  return file;
}

bool cm_WalkOpen(Walk* walk, const char* path) {
  walk->file = OpenEitherWay(path);
  return walk->file != NULL;
}

void cm_WalkClose(Walk* walk) { fclose(walk->file); }

void cm_WalkEnter(Walk* walk, const char* section, bool addBrackets) {
  walk->state = kWholeFile;
  if (IsGiven(section)) {
    walk->state = kBeforeSection;
    CopyText(walk->header, addBrackets && *section != '[' ? "[" : "", kSectionSize);
    AppendText(walk->header, section, kSectionSize);
    AppendText(walk->header, addBrackets && !EndsWith(section, ']') ? "]" : "", kSectionSize);
    LowerText(walk->header);
  }
}

/* A carriage return before a line feed is part of the line's end. */
static int NextCharacter(FILE* file) {
  const int character = getc(file);
  if (character != '\r') {
    return character;
  }
  const int next = getc(file);
  if (next == '\n') {
    return next;
  }
  ungetc(next, file);
  return character;
}

/* Reads the next line, without its line feed. The rest of a line that is too long comes as the next line. */
static bool ReadLine(FILE* file, char line[kLineSize]) {
  size_t length = 0;
  int character = 0;
  while (length < kLineSize - 1 && (character = NextCharacter(file)) != EOF && character != '\n') {
    line[length++] = (char)character;
  }
  line[length] = '\0';
  return length > 0 || character == '\n';
}

bool cm_WalkNext(Walk* walk) {
  while (walk->state != kAfterSection && ReadLine(walk->file, walk->line)) {
    if (walk->line[0] == '\0' || walk->line[0] == '#') {
      continue;
    }
    memcpy(walk->lowered, walk->line, kLineSize);
    LowerText(walk->lowered);
    if (walk->state == kBeforeSection) {
      walk->state = StartsWith(walk->lowered, walk->header) ? kInSection : kBeforeSection;
    } else if (walk->state == kInSection && walk->line[0] == '[') {
      walk->state = kAfterSection;
    } else {
      return true;
    }
  }
  return false;
}
