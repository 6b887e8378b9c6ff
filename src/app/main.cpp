#include <iostream>
#include <stdexcept>

#include "app/mainline.h"
#include "base/standard_streams.h"

// The two kinds of exception are caught separately, though today they are reported alike. Reports
// go to standard output, where the rest of the log is; a supervisor starts the program again. A
// change of user that is refused while everything is taken down does not get here: it ends the
// process.
int main(int argc, char** argv) {
  sonic::open_standard_streams();
  try {
    sonic::mainline(argc, argv);
    return 0;
  } catch (const std::runtime_error& e) {
    std::cout << "EXCEPTION: " << e.what() << std::endl;
  } catch (const std::exception& e) {
    std::cout << "EXCEPTION: " << e.what() << std::endl;
  } catch (...) {
    std::cout << "ERROR" << std::endl;
  }
  return -1;
}
