#include "Platform/Engine/DevTools/EngineIsolation.h"

#include <cerrno>
#include <functional>
#include <grp.h>
#include <pwd.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// What a child process makes of `test`, which gives its exit status; -1 when there can be no child.
int resultInChild(const std::function<int()>& test)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(test());
    int status = 0;
    if (child < 0)
        return -1;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The only sure way to know whether a user namespace, which the engine's sandbox stands on, can be made is to make one.
bool canMakeUserNamespace()
{
    return resultInChild([] { return unshare(CLONE_NEWUSER) == 0 ? 0 : 1; }) == 0;
}

// The engine's set-uid helper does the same where user namespaces are closed to users.
bool hasSandboxHelper()
{
    struct stat status;
    return stat("/usr/lib/chromium/chrome-sandbox", &status) == 0 && status.st_uid == 0 && (status.st_mode & S_ISUID);
}

// Why the engine cannot run as `user`; absent when it can.
NSString obstacleFor(const EngineUser& user, const std::string& executable, const std::string& temporaryFolder)
{
    enum Obstacle { None, NoChange, NoExecutable, NoFolder, NoNamespace };
    const int obstacle = resultInChild([&] {
        if (setgroups(0, nullptr) != 0 || setresgid(user.group, user.group, user.group) != 0
            || setresuid(user.user, user.user, user.user) != 0)
            return NoChange;
        if (access(executable.c_str(), X_OK) != 0)
            return NoExecutable;
        if (access(temporaryFolder.c_str(), X_OK) != 0)
            return NoFolder;
        return unshare(CLONE_NEWUSER) == 0 ? None : NoNamespace;
    });
    switch (obstacle) {
    case None:
        return {};
    case NoExecutable:
        return u"the engine's command is closed to other users";
    case NoFolder:
        return u"the folder for temporary files is closed to other users";
    case NoNamespace:
        return u"this system lets users make no user namespaces";
    default:
        return u"it cannot become another user";
    }
}

}

EngineIsolation engineIsolation(const std::string& executable, const std::string& temporaryFolder, bool readsLocalFiles)
{
    if (geteuid() != 0) {
        if (canMakeUserNamespace() || hasSandboxHelper())
            return {};
        return {u"this system lets users make no user namespaces", {}};
    }
    if (readsLocalFiles)
        return {u"it is started by the superuser to read local files", {}};
    const passwd* nobody = getpwnam("nobody");
    if (!nobody || nobody->pw_uid == 0)
        return {u"it is started by the superuser, and there is no user “nobody”", {}};
    const EngineUser user = {nobody->pw_uid, nobody->pw_gid};
    if (const NSString obstacle = obstacleFor(user, executable, temporaryFolder))
        return {NSString::stringWithFormat(u"it is started by the superuser, and %@", obstacle), {}};
    return {{}, user};
}
