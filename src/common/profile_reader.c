/* Reads values out of sectioned text files. Nothing is kept between two look-ups. */
#include <ctype.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/cm_common.h"
#include "common/own_text.h"
#include "common/profile_walk.h"
#include "common/trace_hook.h"

enum {
  kKeyLimit = 254,
  kListKeyLimit = 62,
  kListValueSize = 512,
  kNumberedKeyLimit = 255,
};

static const char kString[] = "i_GetPrivateProfileString";
static const char kList[] = "i_GetPrivateProfileList";
static const char kDefaultSection[] = "[DEFAULT]";

/* After `kFailed`, a macro's key is looked up in [DEFAULT]. After `kRecursion` or `kNoMemory`, the whole
   look-up ends. */
typedef enum Result { kFound, kFailed, kRecursion, kNoMemory } Result;

/* A key that has no value in [DEFAULT], and the message of its look-up there. */
typedef struct Failure {
  struct Failure* earlier;
  const char* message; /* within `key`'s storage, after its terminator */
  char key[];
} Failure;

/* What stays the same during a look-up, and the failures that were found in it. */
typedef struct Profile {
  const char* file;
  const char* function; /* the public function that was called */
  size_t valueSize;     /* of the caller's buffer; it limits the values of macros too */
  char* message;
  size_t messageSize;
  Failure* failures; /* newest first */
} Profile;

/* A key that is being looked up, with the value of its setting. */
typedef struct Step {
  struct Step* outer; /* its macro names this key; null for the key that the caller wants */
  const char* section;
  const char* key;
  bool isExpanded;
  char value[kLineSize]; /* while its macro is looked up, the text before the macro */
  const char* macro;     /* the name in the macro, and what follows the macro; both within `value` */
  const char* tail;
} Step;

__attribute__((format(printf, 2, 3))) static void Tell(const Profile* profile, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(profile->message, profile->messageSize, format, arguments);
  va_end(arguments);
}

/* Opens the file. The messages are the same whichever function was called. */
static bool Open(const Profile* profile, Walk* walk) {
  if (!IsGiven(profile->file)) {
    Tell(profile, "%s: FILE NOT FOUND OR ACCESS PROBLEM.", kString);
    return false;
  }
  if (!cm_WalkOpen(walk, profile->file)) {
    Tell(profile, "%s: FILE NOT FOUND OR ACCESS PROBLEM: %s.", kString, profile->file);
    return false;
  }
  return true;
}

static Result NotFound(const Profile* profile, const char* function, const Walk* walk, const char* section,
                       const char* key) {
  if (walk->state == kAfterSection) {
    Tell(profile, "%s: KEY NOT FOUND %s%s", function, section, key);
  } else if (walk->state == kBeforeSection) {
    Tell(profile, "%s: SECTION NOT FOUND: %s.", function, walk->header);
  } else {
    Tell(profile, "%s: KEY NOT FOUND: %s", function, key);
  }
  return kFailed;
}

static Result TooLong(const Profile* profile, const char* function, const char* name) {
  Tell(profile, "%s: NAME TOO LONG: %s.", function, name);
  return kFailed;
}

/* Removes the spaces at the end. A value of nothing but spaces is not changed. */
static void TrimTrailingSpaces(char* value) {
  size_t length = strlen(value);
  while (length > 0 && value[length - 1] == ' ') {
    --length;
  }
  if (length > 0) {
    value[length] = '\0';
  }
}

/* ---- Single keys and macros ---- */

static Result TakeSetting(const Profile* profile, Walk* walk, Step* step) {
  if (strlen(step->key) > kKeyLimit) {
    return TooLong(profile, kString, step->key);
  }
  char setting[kKeyLimit + 2];
  CopyText(setting, step->key, sizeof setting);
  AppendText(setting, "=", sizeof setting);
  LowerText(setting);
  cm_WalkEnter(walk, step->section, true);
  while (cm_WalkNext(walk)) {
    if (StartsWith(walk->lowered, setting)) {
      CopyText(step->value, walk->line + strlen(setting), kLineSize);
      TrimTrailingSpaces(step->value);
      return kFound;
    }
  }
  return NotFound(profile, kString, walk, step->section, step->key);
}

/* Finds the setting of the step's key. The file is closed again before a macro in it is looked up, so a chain
   of macros needs one open file and not many. */
static Result FindSetting(const Profile* profile, Step* step) {
  Walk walk;
  step->isExpanded = false;
  if (!Open(profile, &walk)) {
    return kFailed;
  }
  const Result result = TakeSetting(profile, &walk, step);
  cm_WalkClose(&walk);
  return result;
}

/* Cuts the value of a single key to the size of the buffer. An empty value counts as not found. */
static Result JudgeValue(const Profile* profile, Step* step) {
  if (profile->valueSize < kLineSize) {
    step->value[profile->valueSize > 0 ? profile->valueSize - 1 : 0] = '\0';
  }
  if (step->value[0] == '\0') {
    Tell(profile, "%s: KEY VALUE NOT FOUND.", kString);
    return kFailed;
  }
  return kFound;
}

static bool IsSameKey(const char* first, const char* second) {
  while (*first != '\0' && tolower((unsigned char)*first) == tolower((unsigned char)*second)) {
    ++first;
    ++second;
  }
  return *first == '\0' && *second == '\0';
}

/* Remembers that the key has no value in [DEFAULT]. If there is no memory, it is just looked up again. */
static void AddFailure(Profile* profile, const char* key) {
  const size_t keySize = strlen(key) + 1;
  const size_t messageSize = strlen(profile->message) + 1;
  Failure* failure = malloc(sizeof *failure + keySize + messageSize);
  if (failure != NULL) {
    memcpy(failure->key, key, keySize);
    memcpy(failure->key + keySize, profile->message, messageSize);
    failure->message = failure->key + keySize;
    failure->earlier = profile->failures;
    profile->failures = failure;
  }
}

static const Failure* FindFailure(const Profile* profile, const char* key) {
  const Failure* failure = profile->failures;
  while (failure != NULL && strcmp(failure->key, key) != 0) {
    failure = failure->earlier;
  }
  return failure;
}

/* Finds the setting of a macro's key in [DEFAULT]. */
static Result FindDefault(const Profile* profile, Step* step) {
  const Failure* failure = FindFailure(profile, step->key);
  if (failure != NULL) {
    Tell(profile, "%s", failure->message);
    return kFailed;
  }
  return FindSetting(profile, step);
}

/* Splits the value at its first macro. False if the macro is not closed. */
static bool SplitAtMacro(Step* step) {
  char* start = strstr(step->value, "%(");
  char* end = strchr(start, ')');
  if (end == NULL) {
    return false;
  }
  *start = '\0';
  *end = '\0';
  step->macro = start + 2;
  step->tail = end + 1;
  return true;
}

/* Whether looking up the macro would lead back to a setting that is being expanded. The same key in [DEFAULT]
   is another setting: its value may end the chain. In the list form, the same key may be another setting too,
   because its line need not be the first one with this key. If it is the same line after all, it comes up
   again as a step of the string form, and is noticed there. */
static bool IsRecursion(const Profile* profile, const Step* step) {
  for (const Step* other = step; other != NULL; other = other->outer) {
    const bool isOfList = other->outer == NULL && profile->function == kList;
    if (!isOfList && other->section == step->section && IsSameKey(step->macro, other->key)) {
      return true;
    }
  }
  return false;
}

/* Makes the macro of the innermost step the new innermost step. */
static Result BeginMacro(const Profile* profile, Step** innermost) {
  Step* step = *innermost;
  if (!SplitAtMacro(step)) {
    Tell(profile, "%s: MACRO NOT CLOSED: %s.", step->outer == NULL ? profile->function : kString, step->key);
    return kFailed;
  }
  if (IsRecursion(profile, step)) {
    Tell(profile, "%s: MACRO RECURSION: %s.", profile->function, step->macro);
    return kRecursion;
  }
  Step* inner = malloc(sizeof *inner);
  if (inner == NULL) {
    return kNoMemory;
  }
  inner->outer = step;
  inner->section = step->section;
  inner->key = step->macro;
  *innermost = inner;
  return inner->section == kDefaultSection ? FindDefault(profile, inner) : FindSetting(profile, inner);
}

/* Handles the result of the innermost step. Looks up its key in [DEFAULT], or ends the step and puts its
   value into that of the outer step. */
static Result EndMacro(Profile* profile, Step** innermost, Result result) {
  Step* inner = *innermost;
  Step* outer = inner->outer;
  if (result == kFound) {
    result = JudgeValue(profile, inner);
  }
  if (result == kFailed && inner->section != kDefaultSection) {
    inner->section = kDefaultSection;
    return FindDefault(profile, inner);
  }
  if (result == kFailed && FindFailure(profile, inner->key) == NULL) {
    AddFailure(profile, inner->key);
  }
  if (result == kFound) {
    char joined[kLineSize];
    CopyText(joined, outer->value, kLineSize);
    AppendText(joined, inner->value, kLineSize);
    AppendText(joined, outer->tail, kLineSize);
    CopyText(outer->value, joined, kLineSize);
    outer->isExpanded = true;
  }
  free(inner);
  *innermost = outer;
  return result;
}

/* Replaces the first macro of the value by the value that it names. This is a loop, not a recursion: the
   chain of macros in a file can be too long for the stack. */
static Result ExpandMacro(Profile* profile, Step* first) {
  Step* innermost = first;
  Result result = kFound;
  for (;;) {
    if (result == kFound && !innermost->isExpanded && strstr(innermost->value, "%(") != NULL) {
      result = BeginMacro(profile, &innermost);
    } else if (innermost != first) {
      result = EndMacro(profile, &innermost, result);
    } else {
      return result;
    }
  }
}

/* ---- Lists of keys ---- */

/* What the caller of the list form looks for. */
typedef struct Wanted {
  const char* key;
  char start[kListKeyLimit + 2]; /* how a line that matches begins, in lower case */
  int marks;                     /* how many `#` were at the key's end, up to two */
} Wanted;

static void MakeWanted(const char* key, Wanted* wanted) {
  wanted->key = key;
  wanted->marks = 0;
  CopyText(wanted->start, key, sizeof wanted->start);
  while (wanted->marks < 2 && EndsWith(wanted->start, '#')) {
    wanted->start[strlen(wanted->start) - 1] = '\0';
    ++wanted->marks;
  }
  if (wanted->marks == 0) {
    AppendText(wanted->start, "=", sizeof wanted->start);
  }
  LowerText(wanted->start);
}

/* Whether the text before `end` is a number, written as printf writes it. */
static bool IsPlainNumber(const char* text, const char* end) {
  char printed[16];
  snprintf(printed, sizeof printed, "%d", (int)strtoll(text, NULL, 10));
  return strlen(printed) == (size_t)(end - text) && StartsWith(text, printed);
}

/* If the key of the line is a numbered one, takes key and value, and cuts the line in two. */
static bool TakeNumbered(const Wanted* wanted, Walk* walk, Step* step) {
  char* number = walk->line + strlen(wanted->start);
  char* equals = strchr(number, '=');
  if (equals == NULL || equals - number >= kNumberedKeyLimit) {
    return false;
  }
  if (!IsPlainNumber(number, equals)) {
    if (cm_TraceHook != NULL) {
      cm_TraceHook(3, "i_GetPrivateProfileList: key matched but not with a valid number [%s]", walk->line);
    }
    return false;
  }
  *equals = '\0';
  step->key = walk->line;
  step->value[0] = '\0';
  const char* underscore = strrchr(walk->line, '_');
  if (wanted->marks == 2 && underscore != NULL) {
    CopyText(step->value, underscore + 1, kLineSize);
    AppendText(step->value, ":", kLineSize);
  }
  AppendText(step->value, equals + 1, kLineSize);
  return true;
}

static bool TakeMatch(const Wanted* wanted, Walk* walk, Step* step) {
  if (!StartsWith(walk->lowered, wanted->start)) {
    return false;
  }
  if (wanted->marks > 0) {
    return TakeNumbered(wanted, walk, step);
  }
  step->key = wanted->key;
  CopyText(step->value, walk->line + strlen(wanted->start), kLineSize);
  return true;
}

static Result Gather(Profile* profile, Walk* walk, const char* section, const char* key, LLNode* list) {
  if (IsGiven(section) && strlen(section) >= kSectionSize) {
    return TooLong(profile, kList, section);
  }
  if (strlen(key) > kListKeyLimit) {
    return TooLong(profile, kList, key);
  }
  Wanted wanted;
  MakeWanted(key, &wanted);
  cm_WalkEnter(walk, section, false);
  bool taken = false;
  while (cm_WalkNext(walk)) {
    Step step = {.section = section};
    if (TakeMatch(&wanted, walk, &step)) {
      TrimTrailingSpaces(step.value);
      const Result result = ExpandMacro(profile, &step);
      if (result != kFound) {
        return result;
      }
      InsLastLLf(list, strlen(step.value) + 1, step.value);
      taken = true;
    }
  }
  return taken ? kFound : NotFound(profile, kList, walk, section, key);
}

/* ---- The two functions ---- */

static bool Begin(Profile* profile, const char* file, const char* function, int32_t valueSize,
                  int32_t messageSize) {
  profile->file = file;
  profile->function = function;
  profile->valueSize = valueSize > 0 ? (size_t)valueSize : 0;
  profile->messageSize = messageSize > 0 ? (size_t)messageSize : 1;
  profile->failures = NULL;
  profile->message = malloc(profile->messageSize);
  return profile->message != NULL;
}

static void FreeFailures(Profile* profile) {
  while (profile->failures != NULL) {
    Failure* failure = profile->failures;
    profile->failures = failure->earlier;
    free(failure);
  }
}

static int End(Profile* profile, Result result, char* message, int32_t messageSize) {
  if (result != kNoMemory && messageSize > 0) {
    CopyText(message, result == kFound ? "" : profile->message, profile->messageSize);
  }
  FreeFailures(profile);
  free(profile->message);
  return result == kFound;
}

int i_GetPrivateProfileString(const char* file, const char* section, const char* key, char* value,
                              int32_t valueSize, char* message, int32_t messageSize) {
  Profile profile;
  if (!Begin(&profile, file, kString, valueSize, messageSize)) {
    return 0;
  }
  Step step = {.section = section, .key = key == NULL ? "" : key};
  Result result = FindSetting(&profile, &step);
  if (result == kFound) {
    result = ExpandMacro(&profile, &step);
  }
  if (result == kFound) {
    result = JudgeValue(&profile, &step);
    CopyText(value, step.value, profile.valueSize);
  }
  return End(&profile, result, message, messageSize);
}

int i_GetPrivateProfileList(const char* file, const char* section, const char* key, LLNode* list,
                            char* message, int32_t messageSize) {
  Profile profile;
  if (!Begin(&profile, file, kList, kListValueSize, messageSize)) {
    return 0;
  }
  Walk walk;
  Result result = kFailed;
  if (Open(&profile, &walk)) {
    result = Gather(&profile, &walk, section, key == NULL ? "" : key, list);
    cm_WalkClose(&walk);
  }
  return End(&profile, result, message, messageSize);
}
