#include "common/descriptor_limit.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int spare = -1;
ino_t spareInode = 0;

ino_t inode_of(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

void keep(int descriptor) {
    spare = descriptor;
    spareInode = inode_of(descriptor);
}

bool has_free_descriptor() {
    const int probe = eventfd(0, EFD_CLOEXEC);
    if (probe == -1)
        return false;
    close(probe);
    return true;
}

} // namespace

void keep_spare_descriptor(int maps) { keep(maps); }

DescriptorForARecord::DescriptorForARecord() {
    if (has_free_descriptor())
        return;
    // An application that closes all descriptors has closed this one too, and its number may be something else by now.
    if (spareInode == 0 || inode_of(spare) != spareInode)
        return;
    close(spare);
    letGo_ = true;
}

DescriptorForARecord::~DescriptorForARecord() {
    if (!letGo_)
        return;
    keep(open("/proc/self/maps", O_RDONLY | O_CLOEXEC));
}
