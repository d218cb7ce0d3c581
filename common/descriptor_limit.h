// Records of a process that has no descriptor left. The system log is reached through one, so they would be lost in
// silence. Not for two threads at once: it serves start-up and opening a session, which one thread does.
#pragma once

// Keeps a descriptor that stays open for nobody's use: the file at /proc/self/maps that start-up leaves open.
void keep_spare_descriptor(int maps);

// While it lives, the spare descriptor is closed if no other is free, and then opened again. A thread that takes the
// place meanwhile costs a record and no more.
class DescriptorForARecord {
public:
    DescriptorForARecord();
    ~DescriptorForARecord();
    DescriptorForARecord(const DescriptorForARecord&) = delete;
    DescriptorForARecord& operator=(const DescriptorForARecord&) = delete;

private:
    bool letGo_ = false;
};
