/* Shows where a configuration file says that the server `prod` has its repository, as Windows names the
 * place. */
#include <backint/cm_common.h>
#include <stdio.h>

int main(int argc, char** argv) {
  char value[256];
  char message[256];
  const char* file = argc == 2 ? argv[1] : "";
  if (!i_GetPrivateProfileString(file, "prod", "repository", value, sizeof value, message, sizeof message)) {
    puts(message);
    return 1;
  }
  printf("D:%s\n", szPath2Dos(value));
  return 0;
}
