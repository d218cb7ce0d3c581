#include "sim/private_host.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sim/unix_socket.h"

namespace sim {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

void mount_or_fail(const char* source, const std::string& target, const char* type, unsigned long flags,
                   const char* options = nullptr) {
    if (mount(source, target.c_str(), type, flags, options) == -1)
        fail(fmt::format("mount {}", target));
}

// An empty file or directory for the entry to be mounted on.
void make_mount_point(const std::string& path, bool directory) {
    if (directory) {
        if (mkdir(path.c_str(), 0755) == -1)
            fail(fmt::format("mkdir {}", path));
        return;
    }
    const Fd made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!made)
        fail(fmt::format("create {}", path));
}

void show_again(const fs::path& original, const std::string& target) {
    const fs::file_status status = fs::symlink_status(original);
    if (fs::is_symlink(status)) {
        std::error_code error;
        const fs::path leads_to = fs::read_symlink(original, error);
        if (error == std::errc::no_such_file_or_directory) // an entry of /dev may go away at any moment
            return;
        if (error)
            throw fs::filesystem_error("read", original, error);
        fs::create_symlink(leads_to, target);
        return;
    }
    if (!fs::exists(status))
        return;
    make_mount_point(target, fs::is_directory(status));
    if (mount(original.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0)
        return;
    if (errno != ENOENT)
        fail(fmt::format("mount {}", target));
    fs::remove(target);
}

// Lays a writable directory over the given one, in which everything of it shows again except the one name.
void shadow(const std::string& directory, const std::string& left_out) {
    const Fd original(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!original)
        fail(fmt::format("open {}", directory));
    // The way to what lies underneath, once the new directory is mounted over it.
    const fs::path underneath = fmt::format("/proc/self/fd/{}", original.get());
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(underneath))
        names.insert(entry.path().filename());
    names.erase(left_out);

    mount_or_fail("tmpfs", directory, "tmpfs", MS_NOSUID, "mode=755");
    for (const std::string& name : names)
        show_again(underneath / name, directory + "/" + name);
}

void write_file(const char* path, const std::string& text) {
    const Fd file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        fail(fmt::format("write {}", path));
}

// The user keeps his own ids inside; everything else of the outside is nobody there.
void enter_user_namespace() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) == -1)
        fail("unshare user and mount namespace");
    write_file("/proc/self/setgroups", "deny");
    write_file("/proc/self/uid_map", fmt::format("{0} {0} 1", user));
    write_file("/proc/self/gid_map", fmt::format("{0} {0} 1", group));
}

PrivateHost unshare_mounts() {
    if (unshare(CLONE_NEWNS) == 0)
        return PrivateHost::mount_namespace;
    if (errno != EPERM)
        fail("unshare mount namespace");
    enter_user_namespace();
    return PrivateHost::user_namespace;
}

void arrange_directories() {
    mount_or_fail(nullptr, "/", nullptr, MS_REC | MS_PRIVATE);
    shadow("/mnt", "sock");
    shadow("/dev", "log");
    // Everyone may connect and bind, like in /tmp.
    if (mkdir("/mnt/sock", 01777) == -1 || chmod("/mnt/sock", 01777) == -1)
        fail("mkdir /mnt/sock");
}

// Of such a working directory the process still sees what lies underneath.
bool is_shadowed(const fs::path& directory) {
    const fs::path below_root = directory.relative_path();
    return !below_root.empty() && (*below_root.begin() == "mnt" || *below_root.begin() == "dev");
}

} // namespace

PrivateHost enter_private_host(std::string* why_not) {
    const Fd outside(open("/proc/self/ns/mnt", O_RDONLY | O_CLOEXEC));
    std::error_code no_directory;
    const fs::path here = fs::current_path(no_directory);
    try {
        const PrivateHost entered = unshare_mounts();
        arrange_directories();
        // Any other stays as it is: the user may have no right to the way that leads there.
        if (!no_directory && is_shadowed(here) && chdir(here.c_str()) == -1)
            fail(fmt::format("chdir {}", here.string()));
        return entered;
    } catch (const std::system_error& error) {
        if (why_not != nullptr)
            *why_not = error.what();
        // Half a host is none: back out, as far as one is allowed to.
        if (outside && setns(outside.get(), CLONE_NEWNS) == 0 && !no_directory && chdir(here.c_str()) == -1 &&
            why_not != nullptr)
            *why_not += fmt::format("; and {} cannot be entered again", here.string());
        return PrivateHost::none;
    }
}

} // namespace sim
