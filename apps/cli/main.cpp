#include "command_line.h"

int main(int argc, char** argv) {
  return drive::cli::runCommandLine(argc, argv);
}
