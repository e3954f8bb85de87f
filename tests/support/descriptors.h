// Counting this process's open descriptors, for the leak checks of the link tests.
#pragma once
#include <dirent.h>
#include <unistd.h>

namespace veqdx::testing {

// Open descriptors of this process.
inline int OpenDescriptorCount() {
  int count = 0;
  if (DIR* d = ::opendir("/proc/self/fd")) {
    while (::readdir(d) != nullptr) ++count;
    ::closedir(d);
  }
  return count - 3;  // ".", ".." and the directory's own descriptor
}

// The descriptor count once it is back to `expected` (-1: once it stops moving), or after
// `ms` what it is then. An in-process emulator closes its side of a connection on its own
// thread, a moment after the client did.
inline int SettledDescriptorCount(int expected = -1, int ms = 5000) {
  int count = OpenDescriptorCount();
  for (int waited = 0, same = 0; waited < ms && (expected >= 0 ? count != expected : same < 3);
       waited += 50) {
    ::usleep(50 * 1000);
    int now = OpenDescriptorCount();
    same = now == count ? same + 1 : 0;
    count = now;
  }
  return count;
}

}  // namespace veqdx::testing
