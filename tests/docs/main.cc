// Runs the fragment that is named.
#include "all.h"

int main(int, char** arguments) { Fragment::all().at(arguments[1])(); }
