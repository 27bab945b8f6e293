// The entry point of zelvo.dll alone (never of the static library, whose host may have its own).
#include <windows.h>

#include "process/process_objects.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
  // Unloaded by an exiting process (reserved not null): every other thread is gone, so the
  // process-wide objects, whose destruction joins their threads, are left as they are. Their
  // store commits each write within a second of it, before this.
  if (reason == DLL_PROCESS_DETACH && reserved != nullptr) zelvo::abandonProcessWideObjects();
  return TRUE;
}
