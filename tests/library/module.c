/* A module for the process of backint. Its calls are bound to what the program exports. */
#include <stdio.h>

#include "common/cm_common.h"

__attribute__((constructor)) static void Begin(void) {
  char path[] = "a\\b";
  char16_t wide[4];
  const size_t length = wcslcpy(wide, u"abcde", 4);
  wide[0] = 0;
  fprintf(stderr, "module: %s %d %d\n", szPath2Unix(path), (int)length,
          (int)(wcslcat(wide, u"0123456789abcdef", 4)));
}
