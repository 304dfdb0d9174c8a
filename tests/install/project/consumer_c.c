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
  {
    TXP_Point a = {0, 0}, b = {3, 4}, moved;
    const double shift[9] = {1, 0, 5, 0, 1, -7, 0, 0, 1};
    if (TXP_Distance(a, b) != 5.0) return 4;
    moved = TXP_TransformCoordinates(b, shift);
    if (moved.x != 8 || moved.y != -3) return 5;
  }
  printf("C consumer: version %s\n", TQ_GetLibVersion());
  return 0;
}
