/* What every fragment in C sees. */
#include <assert.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "public_c.inc"

#include "helpers_c.inc"
