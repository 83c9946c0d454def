/*
 * Reads a Touchstone file with the toolkit and prints what it got: the
 * sizes, the message or warnings, and a 64-bit FNV-1a hash of the bits of
 * every frequency, reference and S value (with the first S values in full).
 * Built natively and for Windows; compare_with_wine.py compares the two.
 */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zefra/toolkit.h"

static uint64_t hashBits(uint64_t hash, const double *values, int64_t count) {
  for (int64_t k = 0; k < count; ++k) {
    uint64_t bits;
    memcpy(&bits, &values[k], sizeof bits);
    for (int byte = 0; byte < 8; ++byte) {
      hash ^= (bits >> (8 * byte)) & 0xFFu;
      hash *= 1099511628211ull;
    }
  }
  return hash;
}

int main(int argc, char **argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: touchstone_cross_host FILE\n");
    return 2;
  }
  zefra_tk_network *network = NULL;
  char message[1024];
  const zefra_tk_status status = zefra_tk_touchstone_read(argv[1], &network, message, sizeof message);
  if (status != ZEFRA_TK_OK) {
    printf("status %d\nmessage %s\n", (int)status, message);
    return 0;
  }
  const int32_t ports = zefra_tk_network_ports(network);
  const int64_t points = zefra_tk_network_points(network);
  const int64_t values = points * ports * ports;
  double *f = malloc(sizeof(double) * (size_t)points);
  double *z0 = malloc(sizeof(double) * (size_t)ports);
  double *s = malloc(sizeof(double) * 2 * (size_t)values);
  if (f == NULL || z0 == NULL || s == NULL) {
    return 3;
  }
  zefra_tk_network_copy_grid(network, f, z0);
  const int64_t taken = zefra_tk_network_take_s(network, s);
  printf("status 0\nports %" PRId32 " points %" PRId64 " taken %" PRId64 "\n", ports, points, taken);
  for (int32_t k = 0; k < zefra_tk_network_text_count(network, ZEFRA_TK_TEXT_WARNING); ++k) {
    printf("warning %s\n", zefra_tk_network_text(network, ZEFRA_TK_TEXT_WARNING, k));
  }
  uint64_t hash = 14695981039346656037ull;
  hash = hashBits(hash, f, points);
  hash = hashBits(hash, z0, ports);
  hash = hashBits(hash, s, 2 * values);
  printf("hash %016" PRIx64 "\n", hash);
  for (int64_t k = 0; k < 8 && k < 2 * values; ++k) {
    printf("s[%" PRId64 "] %a\n", k, s[k]);
  }
  zefra_tk_network_free(network);
  free(f);
  free(z0);
  free(s);
  return 0;
}
