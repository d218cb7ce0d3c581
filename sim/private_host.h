// A host of one's own for a process and its children: a mount namespace whose /mnt/sock and /dev/log are free.
//
// Nothing outside the namespace is touched, so any number of them run side by side. No threads; the namespace ends
// with the last process in it.
#pragma once

#include <string>

namespace sim {

enum class PrivateHost {
    mount_namespace, // entered as root
    user_namespace,  // entered as an ordinary user, who stays who he is
    none             // not possible here; the process is where it was
};

// Gives the calling process a /mnt with a writable, empty sock/ and a /dev without a log; everything else in both stays
// visible. To be called while the process has one thread. With none, *why_not says why.
PrivateHost enter_private_host(std::string* why_not = nullptr);

} // namespace sim
