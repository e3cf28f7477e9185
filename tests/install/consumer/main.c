#include "zirconlite/zirconlite.h"

int main(void) { return zr_set_max_raytrace_threads(20) == 8 ? 0 : 1; }
