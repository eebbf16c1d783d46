// A user database to be preloaded into getent, which does what the environment says.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <pwd.h>
#include <unistd.h>

extern "C" passwd* getpwuid(uid_t account) {
    static char name[] = "somebody";
    static char home[] = "/homes/somebody";
    static char shell[] = "/bin/sh";
    static passwd entry{};
    const char* behaviour = std::getenv("FAKE_USER_DATABASE");
    if (behaviour == nullptr) return nullptr;
    if (std::strcmp(behaviour, "hangs") == 0) ::pause();
    if (std::strcmp(behaviour, "complains") == 0) std::fputs("no directory service\n", stderr);
    entry.pw_name = entry.pw_passwd = entry.pw_gecos = name;
    entry.pw_uid = account;
    entry.pw_dir = home;
    entry.pw_shell = shell;
    return &entry;
}
