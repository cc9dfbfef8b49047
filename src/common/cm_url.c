#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include "common/cm_common.h"

char* cm_url_encode(const char* text) {
  static const char kept[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~";
  static const char digits[] = "0123456789abcdef";
  char* encoded = malloc(strlen(text) * 3 + 1);
  if (encoded == NULL) {
    return NULL;
  }
  char* end = encoded;
  for (; *text != '\0'; ++text) {
    if (strchr(kept, *text) != NULL) {
      *end++ = *text;
    } else if (*text == ' ') {
      *end++ = '+';
    } else {
      const unsigned char byte = (unsigned char)*text;
      *end++ = '%';
      *end++ = digits[byte / 16];
      *end++ = digits[byte % 16];
    }
  }
  *end = '\0';
  return encoded;
}

static int DigitValue(char digit) {
  return digit >= '0' && digit <= '9' ? digit - '0' : tolower((unsigned char)digit) - 'a' + 10;
}

char* cm_url_decode(const char* text) {
  char* decoded = malloc(strlen(text) + 1);
  if (decoded == NULL) {
    return NULL;
  }
  char* end = decoded;
  for (; *text != '\0'; ++text) {
    if (*text == '+') {
      *end++ = ' ';
    } else if (*text != '%') {
      *end++ = *text;
    } else if (text[1] != '\0' && text[2] != '\0') {
      const int byte = DigitValue(text[1]) * 16 | DigitValue(text[2]);
      *end++ = (char)(unsigned char)byte;
      text += 2;
    }
  }
  *end = '\0';
  return decoded;
}
