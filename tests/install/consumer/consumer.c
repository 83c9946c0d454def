/* Uses only the installed header and library. */
#include <stdio.h>
#include <zefra/tdr_helpers.h>

int main(void) {
  const double samples[] = {3.0, 1.0, 2.0, 10.0, -4.0};
  const double m = median(samples, 5);
  printf("median = %.17g\n", m);
  return m == 2.0 ? 0 : 1;
}
