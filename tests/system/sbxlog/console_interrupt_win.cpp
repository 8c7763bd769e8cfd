// console_interrupt <process id>: Ctrl-C for everybody in the console of that process.
#include <cstdlib>
#include <windows.h>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  FreeConsole();
  if (AttachConsole(static_cast<DWORD>(std::strtoul(argv[1], nullptr, 10))) == FALSE) return 3;
  SetConsoleCtrlHandler(nullptr, TRUE);  // not for this one
  return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != FALSE ? 0 : 4;
}
