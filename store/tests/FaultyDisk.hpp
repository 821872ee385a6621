#pragma once
// A disk that fills up or fails, for the store's tests: an SQLite VFS in front of the system's,
// installed as the default while it exists, so that the store opens its files through it without
// knowing. Writes that grow the files beyond the free space fail as a full disk does
// (SQLITE_FULL, which the system's VFS returns for ENOSPC); a failing disk fails every write
// with an I/O error. Reads, locks and the shared memory of WAL pass through untouched.

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>

namespace tovanel::chat::store::test {

class FaultyDisk {
 public:
  static constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max();

  FaultyDisk() : base_(sqlite3_vfs_find(nullptr)) {
    vfs_ = *base_;
    vfs_.zName = "tovanel-faulty-disk";
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + base_->szOsFile;
    vfs_.pAppData = this;
    vfs_.xOpen = &open;
    vfs_.xDelete = &remove;
    sqlite3_vfs_register(&vfs_, 1);
  }
  /// Every connection opened through it must be closed by then.
  ~FaultyDisk() { sqlite3_vfs_unregister(&vfs_); }
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;

  /// From now on the files may grow by `bytes` in all (deleting or truncating frees space).
  void leaveFree(std::int64_t bytes) {
    std::lock_guard lock(mutex_);
    free_ = bytes;
  }
  /// Every write fails with `code` (SQLITE_OK: writes work again).
  void failWritesWith(int code) {
    std::lock_guard lock(mutex_);
    failure_ = code;
  }

 private:
  struct File {
    sqlite3_file base;
    FaultyDisk* disk;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
  };
  // The system's file follows the wrapper, aligned.
  static_assert(sizeof(File) % alignof(std::max_align_t) == 0);

  static FaultyDisk& diskOf(sqlite3_vfs* vfs) { return *static_cast<FaultyDisk*>(vfs->pAppData); }
  static File& fileOf(sqlite3_file* file) { return *reinterpret_cast<File*>(file); }
  static sqlite3_file* real(sqlite3_file* file) { return fileOf(file).real(); }

  // Charges the growth a write would make; the error to return instead of writing, or SQLITE_OK.
  int charge(sqlite3_file* file, int amount, sqlite3_int64 offset) {
    sqlite3_int64 size = 0;
    if (const int status = real(file)->pMethods->xFileSize(real(file), &size);
        status != SQLITE_OK) {
      return status;
    }
    std::lock_guard lock(mutex_);
    if (failure_ != SQLITE_OK) return failure_;
    const sqlite3_int64 growth = offset + amount > size ? offset + amount - size : 0;
    if (growth > free_) return SQLITE_FULL;
    if (free_ != kUnlimited) free_ -= growth;
    return SQLITE_OK;
  }
  void credit(sqlite3_int64 bytes) {
    std::lock_guard lock(mutex_);
    if (free_ != kUnlimited && bytes > 0) free_ += bytes;
  }

  static int open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags,
                  int* outFlags) {
    FaultyDisk& disk = diskOf(vfs);
    File& wrapper = fileOf(file);
    wrapper.base.pMethods = nullptr;
    wrapper.disk = &disk;
    const int status = disk.base_->xOpen(disk.base_, name, wrapper.real(), flags, outFlags);
    if (status == SQLITE_OK && wrapper.real()->pMethods != nullptr) {
      wrapper.base.pMethods = &kMethods;
    }
    return status;
  }
  static int remove(sqlite3_vfs* vfs, const char* name, int syncDirectory) {
    FaultyDisk& disk = diskOf(vfs);
    struct stat status {};
    const sqlite3_int64 size = ::stat(name, &status) == 0 ? status.st_size : 0;
    const int result = disk.base_->xDelete(disk.base_, name, syncDirectory);
    if (result == SQLITE_OK) disk.credit(size);
    return result;
  }

  // The file's methods: each passes the call to the system's file, writes after charging them.
  static int close(sqlite3_file* f) { return real(f)->pMethods->xClose(real(f)); }
  static int read(sqlite3_file* f, void* data, int amount, sqlite3_int64 offset) {
    return real(f)->pMethods->xRead(real(f), data, amount, offset);
  }
  static int write(sqlite3_file* f, const void* data, int amount, sqlite3_int64 offset) {
    if (const int status = fileOf(f).disk->charge(f, amount, offset); status != SQLITE_OK) {
      return status;
    }
    return real(f)->pMethods->xWrite(real(f), data, amount, offset);
  }
  static int truncate(sqlite3_file* f, sqlite3_int64 size) {
    sqlite3_int64 before = 0;
    real(f)->pMethods->xFileSize(real(f), &before);
    const int status = real(f)->pMethods->xTruncate(real(f), size);
    if (status == SQLITE_OK) fileOf(f).disk->credit(before - size);
    return status;
  }
  static int sync(sqlite3_file* f, int flags) { return real(f)->pMethods->xSync(real(f), flags); }
  static int fileSize(sqlite3_file* f, sqlite3_int64* size) {
    return real(f)->pMethods->xFileSize(real(f), size);
  }
  static int lock(sqlite3_file* f, int level) { return real(f)->pMethods->xLock(real(f), level); }
  static int unlock(sqlite3_file* f, int level) {
    return real(f)->pMethods->xUnlock(real(f), level);
  }
  static int checkReservedLock(sqlite3_file* f, int* out) {
    return real(f)->pMethods->xCheckReservedLock(real(f), out);
  }
  static int fileControl(sqlite3_file* f, int op, void* argument) {
    return real(f)->pMethods->xFileControl(real(f), op, argument);
  }
  static int sectorSize(sqlite3_file* f) { return real(f)->pMethods->xSectorSize(real(f)); }
  static int deviceCharacteristics(sqlite3_file* f) {
    return real(f)->pMethods->xDeviceCharacteristics(real(f));
  }
  static int shmMap(sqlite3_file* f, int region, int size, int extend, void volatile** memory) {
    return real(f)->pMethods->xShmMap(real(f), region, size, extend, memory);
  }
  static int shmLock(sqlite3_file* f, int offset, int n, int flags) {
    return real(f)->pMethods->xShmLock(real(f), offset, n, flags);
  }
  static void shmBarrier(sqlite3_file* f) { real(f)->pMethods->xShmBarrier(real(f)); }
  static int shmUnmap(sqlite3_file* f, int deleteFlag) {
    return real(f)->pMethods->xShmUnmap(real(f), deleteFlag);
  }
  // No memory-mapped reads: the store leaves mmap_size at 0, so SQLite does not ask for them.
  static int fetch(sqlite3_file*, sqlite3_int64, int, void** page) {
    *page = nullptr;
    return SQLITE_OK;
  }
  static int unfetch(sqlite3_file*, sqlite3_int64, void*) { return SQLITE_OK; }

  static constexpr sqlite3_io_methods kMethods{3,
                                               &close,
                                               &read,
                                               &write,
                                               &truncate,
                                               &sync,
                                               &fileSize,
                                               &lock,
                                               &unlock,
                                               &checkReservedLock,
                                               &fileControl,
                                               &sectorSize,
                                               &deviceCharacteristics,
                                               &shmMap,
                                               &shmLock,
                                               &shmBarrier,
                                               &shmUnmap,
                                               &fetch,
                                               &unfetch};

  sqlite3_vfs* base_;
  sqlite3_vfs vfs_{};
  std::mutex mutex_;
  std::int64_t free_ = kUnlimited;
  int failure_ = SQLITE_OK;
};

}  // namespace tovanel::chat::store::test
