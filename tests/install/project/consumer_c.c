/* Uses the installed C surface from a C99 program. */
#include <norvane/NorvaneCoreC.h>

#include <stdio.h>
#include <string.h>

int main(void) {
  char* copy = NULL;
  TQ_CopyCharArray(TC_GetErrorString(-10026), &copy);
  if (copy == NULL || strcmp(copy, "Operation timeout.") != 0) return 1;
  TQ_DeleteCharArray(&copy);
  if (copy != NULL) return 2;
  if (TC_Sqrt(16.0) != 4.0) return 3;
  printf("C consumer: version %s\n", TQ_GetLibVersion());
  return 0;
}
