#include "header_test.c"
