// What the cache needs around it besides a record store: a directory on disk.
#pragma once

#include "base/program.h"
#include "engine/log/event_log.h"
#include "platform/posix/disk_files.h"
#include "tests/fakes/fake_platform.h"

namespace quenvar {

/// Puts the cache into `directory`, over `store`, as long as it lives. Many continuation keys are soon taken.
struct CacheSurroundings : FakePlatform {
  CacheSurroundings(const std::string& directory, RecordStore& store) : disk(directory) {
    SetAppPath(directory + "/");
    platform.files = &disk;
    platform.records = &store;
    process.scarceKeys = true;
    ClearLog();
  }

  DiskFiles disk;
};

}  // namespace quenvar
