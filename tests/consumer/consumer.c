/* Shows where a configuration file puts the repository of the server `prod`, as Windows names the place. */
#include <backint/LL.h>
#include <backint/cm_common.h>
#include <stdio.h>

int main(int argc, char** argv) {
  char value[256];
  char message[256];
  LLNode places;
  char* place;
  if (!i_GetPrivateProfileString(argc == 2 ? argv[1] : "", "prod", "repository", value, sizeof value, message,
                                 sizeof message)) {
    puts(message);
    return 1;
  }
  InitLL(&places);
  InsArgvLL(&places, value, (char*)NULL);
  place = (char*)FirstElmLL(&places);
  printf("D:%s\n", szPath2Dos(place));
  DelElmLL(place);
  return 0;
}
