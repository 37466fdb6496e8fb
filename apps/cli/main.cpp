#include <iostream>

#include "cli/command_line.h"

int main(int argc, char** argv) {
  // Standard streams buffered on their own: a listing prints a hundred thousand rows.
  std::ios::sync_with_stdio(false);
  return drive::cli::runCommandLine(argc, argv);
}
