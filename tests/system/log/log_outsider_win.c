/* A tool of the log that knows nothing of this project but the names and layouts of docs/log-facility.md: it
 * reads and steers the configuration block, the live channel and a breakpoint of a host, whose path is its
 * argument. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <windows.h>

static int g_failures = 0;

static void Expect(int holds, const char* what, int line) {
  if (holds) return;
  printf("line %d: %s (last error %lu)\n", line, what, GetLastError());
  ++g_failures;
}
#define EXPECT(condition) Expect(condition, #condition, __LINE__)

/* What all further steps need. */
static void Need(int holds, const char* what, int line) {
  Expect(holds, what, line);
  if (!holds) exit(1);
}
#define NEED(condition) Need(condition, #condition, __LINE__)

enum { kPatience = 20000 }; /* milliseconds */

/* --- the host --- */

static PROCESS_INFORMATION g_host;
static HANDLE g_toHost;
static HANDLE g_fromHost;
static wchar_t g_hostName[64];      /* its file name */
static wchar_t g_upperHostName[64]; /* in upper case */

static void StartHost(const char* path) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, NULL, TRUE};
  STARTUPINFOW start = {.cb = sizeof start, .dwFlags = STARTF_USESTDHANDLES};
  wchar_t program[MAX_PATH];
  NEED(MultiByteToWideChar(CP_ACP, 0, path, -1, program, MAX_PATH) > 0);
  NEED(CreatePipe(&start.hStdInput, &g_toHost, &inherited, 0));
  NEED(CreatePipe(&g_fromHost, &start.hStdOutput, &inherited, 0));
  SetHandleInformation(g_toHost, HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(g_fromHost, HANDLE_FLAG_INHERIT, 0);
  start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  NEED(CreateProcessW(program, NULL, NULL, NULL, TRUE, 0, NULL, NULL, &start, &g_host));
  CloseHandle(start.hStdInput);
  CloseHandle(start.hStdOutput);
  const wchar_t* name = program;
  for (const wchar_t* at = program; *at != 0; ++at) {
    if (*at == L'\\' || *at == L'/') name = at + 1;
  }
  wcsncpy(g_hostName, name, 63);
  wcsncpy(g_upperHostName, name, 63);
  CharUpperW(g_upperHostName);
}

static void Tell(char command) {
  DWORD written = 0;
  NEED(WriteFile(g_toHost, &command, 1, &written, NULL) && written == 1);
}

/* Reads a line of the host and compares it. */
static void Hear(const char* expected) {
  char line[32] = "";
  for (size_t length = 0; length + 1 < sizeof line; ++length) {
    DWORD got = 0;
    NEED(ReadFile(g_fromHost, line + length, 1, &got, NULL) && got == 1);
    if (line[length] == '\n') break;
  }
  EXPECT(strncmp(line, expected, strlen(expected)) == 0);
}

static int HostIsSilent(void) {
  DWORD waiting = 0;
  return PeekNamedPipe(g_fromHost, NULL, 0, NULL, &waiting, NULL) && waiting == 0;
}

/* --- shared blocks --- */

static uint32_t Word(const unsigned char* block, size_t offset) {
  uint32_t value;
  memcpy(&value, block + offset, sizeof value);
  return value;
}
static int64_t LongWord(const unsigned char* block, size_t offset) {
  int64_t value;
  memcpy(&value, block + offset, sizeof value);
  return value;
}
static void PutWord(unsigned char* block, size_t offset, uint32_t value) {
  memcpy(block + offset, &value, sizeof value);
}
static const wchar_t* TextAt(const unsigned char* block, size_t offset) {
  return (const wchar_t*)(const void*)(block + offset);
}

static size_t SizeOfView(const void* view) {
  MEMORY_BASIC_INFORMATION info;
  return VirtualQuery(view, &info, sizeof info) == 0 ? 0 : info.RegionSize;
}

static void Take(HANDLE mutex) {
  EXPECT(WaitForSingleObject(mutex, kPatience) == WAIT_OBJECT_0);
}

/* Whether everybody may do everything with the object: a list that is there, and null. */
static int IsOpenToAll(HANDLE object) {
  union {
    SECURITY_DESCRIPTOR descriptor;
    unsigned char room[1024];
  } answer;
  DWORD size = 0;
  BOOL isPresent = FALSE;
  BOOL isDefault = FALSE;
  PACL list = NULL;
  return GetKernelObjectSecurity(object, DACL_SECURITY_INFORMATION, &answer.descriptor, sizeof answer,
                                 &size) &&
         GetSecurityDescriptorDacl(&answer.descriptor, &isPresent, &list, &isDefault) && isPresent &&
         list == NULL;
}

/* --- the log file --- */

static char* g_log; /* the file's text, other characters than ASCII as '?' */

static void ReadLog(const wchar_t* path) {
  const HANDLE file =
      CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING, 0, NULL);
  NEED(file != INVALID_HANDLE_VALUE);
  const DWORD size = GetFileSize(file, NULL);
  unsigned char* const bytes = malloc(size + 2);
  DWORD got = 0;
  NEED(bytes != NULL && ReadFile(file, bytes, size, &got, NULL) && got == size);
  CloseHandle(file);
  EXPECT(size >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE);
  free(g_log);
  g_log = calloc(size / 2 + 1, 1);
  NEED(g_log != NULL);
  for (DWORD i = 1; i < size / 2; ++i) g_log[i - 1] = bytes[2 * i + 1] == 0 ? (char)bytes[2 * i] : '?';
  free(bytes);
}

static void HoldsTheLine(const wchar_t* path) {
  char tail[128];
  ReadLog(path);
  EXPECT(strncmp(g_log, "[   Date        Time      Level  PID     TID   ErrCode    ] .......\r\n", 69) == 0);
  EXPECT(strstr(g_log, "Product Info: [Torvane Ltd] [torvane Vaultmere] Ver[r") != NULL);
  snprintf(tail, sizeof tail, "Invalid parameters for writing XML.   {%ls::sbxml.dll(0.0)}\r\n", g_hostName);
  const char* const line = strstr(g_log, tail);
  EXPECT(line != NULL);
  snprintf(tail, sizeof tail, "   00   %05lu   ", g_host.dwProcessId);
  EXPECT(strstr(g_log, tail) != NULL);
}

/* --- the steps --- */

static void ReadsTheConfiguration(void) {
  wchar_t name[128];
  swprintf(name, 128, L"Global\\LOGCFG_MUTEX_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%lu",
           g_host.dwProcessId);
  const HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name);
  NEED(mutex != NULL);
  EXPECT(IsOpenToAll(mutex));
  swprintf(name, 128, L"Global\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%lu", g_host.dwProcessId);
  const HANDLE mapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name);
  NEED(mapping != NULL);
  unsigned char* const block = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  NEED(block != NULL && SizeOfView(block) >= 1188876);
  Take(mutex);
  EXPECT(Word(block, 0) == 0xE6E6 && Word(block, 1188872) == 0xE6E6);
  EXPECT(Word(block, 1028) == 0xFFFFFFFF && *TextAt(block, 4) == 0);
  EXPECT(wcscmp(TextAt(block, 1032), L"sbxml.dll") == 0);
  const wchar_t* const path = TextAt(block, 1032 + 128);
  const size_t length = wcslen(path);
  EXPECT(length > 20 && wcscmp(path + length - 19, L"\\Logs\\sbxml.dll.Log") == 0);
  EXPECT(Word(block, 1032 + 1152) == 0xFFFFFFFF && Word(block, 1032 + 1156) == 0xFFFF);
  EXPECT(*TextAt(block, 1032 + 1160) == 0 && Word(block, 1032 + 1160 + 1156) == 1);
  ReleaseMutex(mutex);

  DeleteFileW(path);
  Tell('w');
  Hear("done");
  HoldsTheLine(path);

  /* The path moves where the tool says. */
  wchar_t moved[512];
  swprintf(moved, 512, L"%ls.moved.Log", path);
  DeleteFileW(moved);
  Take(mutex);
  memcpy(block + 1032 + 128, moved, (wcslen(moved) + 1) * sizeof *moved);
  ReleaseMutex(mutex);
  Tell('w');
  Hear("done");
  HoldsTheLine(moved);
  DeleteFileW(moved); /* refused: the host has it open */
  EXPECT(GetLastError() == ERROR_SHARING_VIOLATION);
  UnmapViewOfFile(block);
  CloseHandle(mapping);
  CloseHandle(mutex);
}

static HANDLE g_switch;

static void ListensToTheChannel(void) {
  wchar_t name[160];
  swprintf(name, 160, L"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_EVENT_%ls", g_upperHostName);
  const HANDLE event = CreateEventW(NULL, FALSE, FALSE, name);
  g_switch = CreateEventW(NULL, TRUE, FALSE, L"Global\\EVENT_9CF42DA4-ACD1-4F3F-8D6F-31023974A079");
  NEED(event != NULL && g_switch != NULL);
  Tell('w');
  EXPECT(WaitForSingleObject(event, kPatience) == WAIT_OBJECT_0);
  Hear("done");
  swprintf(name, 160, L"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_MUTEXT_%ls", g_upperHostName);
  const HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name);
  swprintf(name, 160, L"Global\\CB6AF056-4138-4342-BE43-B4B37843FE36_SM_%ls", g_upperHostName);
  const HANDLE mapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name);
  NEED(mutex != NULL && mapping != NULL);
  EXPECT(IsOpenToAll(mutex));
  unsigned char* const block = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  NEED(block != NULL && SizeOfView(block) >= 2654720);
  Take(mutex);
  EXPECT(LongWord(block, 0) == -1 && LongWord(block, 8) == 0);
  EXPECT(wcscmp(TextAt(block, 512), g_upperHostName) == 0);
  EXPECT(wcscmp(TextAt(block, 512 + 256), L"sbxml.dll") == 0);
  SYSTEMTIME now;
  GetLocalTime(&now);
  EXPECT((Word(block, 512 + 512) & 0xFFFF) + 1 >= now.wYear &&
         (Word(block, 512 + 512) & 0xFFFF) <= now.wYear);
  EXPECT(Word(block, 512 + 528) == 0 && Word(block, 512 + 532) == 0);
  EXPECT(Word(block, 512 + 536) == g_host.dwProcessId && Word(block, 512 + 540) == g_host.dwThreadId);
  EXPECT(wcscmp(TextAt(block, 512 + 544), L"Invalid parameters for writing XML.") == 0);
  const int64_t read = 0;
  memcpy(block, &read, sizeof read);
  ReleaseMutex(mutex);
  UnmapViewOfFile(block);
  CloseHandle(mapping);
  CloseHandle(mutex);
  CloseHandle(event);
}

static void NameOfHit(const unsigned char* id, wchar_t* name, size_t units) {
  swprintf(name, units, L"Global\\BPHIT_EVENT_%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X", Word(id, 0),
           Word(id, 4) & 0xFFFF, Word(id, 4) >> 16, id[8], id[9], id[10], id[11], id[12], id[13], id[14],
           id[15]);
}

static void HoldsAThread(void) {
  static const unsigned char kId[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
  const HANDLE mutex =
      CreateMutexW(NULL, FALSE, L"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_MU_BREAKPOINTS");
  const HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, NULL, PAGE_READWRITE, 0, 661204,
                                            L"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_SM_BREAKPOINTS");
  const HANDLE signal =
      CreateEventW(NULL, FALSE, FALSE, L"Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_EVENT");
  NEED(mutex != NULL && mapping != NULL && signal != NULL);
  unsigned char* const block = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 0);
  NEED(block != NULL);
  Take(mutex);
  memcpy(block + 4, kId, sizeof kId);
  PutWord(block, 4 + 40, 1);
  memcpy(block + 4 + 44, g_hostName, sizeof g_hostName);
  memcpy(block + 4 + 564, L"for writing", sizeof L"for writing");
  PutWord(block, 0, 1);
  ReleaseMutex(mutex);

  Tell('w');
  EXPECT(WaitForSingleObject(signal, kPatience) == WAIT_OBJECT_0);
  EXPECT(HostIsSilent());
  unsigned char* const hit = block + 261204;
  Take(mutex);
  EXPECT(memcmp(hit, kId, sizeof kId) == 0);
  EXPECT(Word(hit, 32) == g_host.dwProcessId && Word(hit, 36) == g_host.dwThreadId);
  wchar_t name[80];
  NameOfHit(hit + 16, name, 80);
  memset(hit, 0, 40);
  ReleaseMutex(mutex);
  const HANDLE release = OpenEventW(EVENT_ALL_ACCESS, FALSE, name);
  NEED(release != NULL);
  SetEvent(release);
  Hear("done");
  CloseHandle(release);
  UnmapViewOfFile(block);
  CloseHandle(mapping);
  CloseHandle(signal);
  CloseHandle(mutex);
}

static void LetsTheHostEnd(void) {
  DWORD code = 99;
  CloseHandle(g_switch);
  Tell('q');
  EXPECT(WaitForSingleObject(g_host.hProcess, kPatience) == WAIT_OBJECT_0);
  EXPECT(GetExitCodeProcess(g_host.hProcess, &code) && code == 0);
  wchar_t name[128];
  swprintf(name, 128, L"Global\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%lu", g_host.dwProcessId);
  EXPECT(OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name) == NULL &&
         GetLastError() == ERROR_FILE_NOT_FOUND);
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  StartHost(argv[1]);
  Hear("ready");
  ReadsTheConfiguration();
  ListensToTheChannel();
  HoldsAThread();
  LetsTheHostEnd();
  free(g_log);
  return g_failures == 0 ? 0 : 1;
}
