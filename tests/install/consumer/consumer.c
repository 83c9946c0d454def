/* Uses only the public headers and the two libraries: the library of
 * exports and the toolkit, whose version must be the one of the header. */
#include <stdio.h>
#include <string.h>
#include <zefra/tdr_helpers.h>
#include <zefra/toolkit.h>

int main(void) {
  const double samples[] = {3.0, 1.0, 2.0, 10.0, -4.0};
  const double m = median(samples, 5);
  printf("median = %.17g\n", m);
  printf("version = %s (header %s, %d)\n", zefra_tk_version(), ZEFRA_VERSION_STRING,
         ZEFRA_VERSION_NUMBER);
  if (strcmp(zefra_tk_version(), ZEFRA_VERSION_STRING) != 0) {
    return 1;
  }
  return m == 2.0 ? 0 : 1;
}
