#include "elf/byte_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cstring>
#include <new>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

// A descriptor that does not wait for a pipe's other end, or -1.
int OpenDescriptor(const char* path) {
#if defined(_WIN32)
  return _open(path, _O_RDONLY | _O_BINARY);
#else
  return open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
#endif
}

// `size` is -1 for what is no regular file.
bool FileStatus(int descriptor, int64_t* size, int64_t* modified) {
#if defined(_WIN32)
  struct _stat64 status;
  const bool known = _fstat64(descriptor, &status) == 0;
  const bool regular = known && (status.st_mode & _S_IFMT) == _S_IFREG;
#else
  struct stat status;
  const bool known = fstat(descriptor, &status) == 0;
  const bool regular = known && S_ISREG(status.st_mode);
#endif
  if (known) {
    *size = regular ? static_cast<int64_t>(status.st_size) : -1;
    *modified = static_cast<int64_t>(status.st_mtime);
  }
  return known;
}

// Whether the path is known to be no regular file. Opening a device may change it, and opening a pipe wakes its writer.
bool IsNoRegularFile(const char* path) {
#if defined(_WIN32)
  struct _stat64 status;
  return _stat64(path, &status) == 0 && (status.st_mode & _S_IFMT) != _S_IFREG;
#else
  struct stat status;
  return stat(path, &status) == 0 && !S_ISREG(status.st_mode);
#endif
}

// Bytes read at `offset`, 0 at the end and on an error.
uint32_t ReadPart(int descriptor, uint64_t offset, uint8_t* buffer, uint32_t count) {
#if defined(_WIN32)
  if (_lseeki64(descriptor, static_cast<int64_t>(offset), SEEK_SET) < 0) {
    return 0;
  }
  const int got = _read(descriptor, buffer, count);
#else
  const ssize_t got = pread(descriptor, buffer, count, static_cast<off_t>(offset));
#endif
  return got > 0 ? static_cast<uint32_t>(got) : 0;
}

void CloseDescriptor(int descriptor) {
#if defined(_WIN32)
  _close(descriptor);
#else
  close(descriptor);
#endif
}

}  // namespace

std::unique_ptr<ByteSource> ByteSource::Open(const char* path) {
  if (IsNoRegularFile(path)) {
    return std::unique_ptr<ByteSource>(new (std::nothrow) ByteSource());  // of size -1
  }
  const int descriptor = OpenDescriptor(path);
  if (descriptor < 0) {
    return nullptr;
  }
  std::unique_ptr<ByteSource> source(new (std::nothrow) ByteSource());
  int64_t modified = 0;
  if (source == nullptr || !FileStatus(descriptor, &source->size_, &modified)) {
    CloseDescriptor(descriptor);
    return nullptr;
  }
  source->descriptor_ = descriptor;
  source->modificationTime_ = static_cast<uint32_t>(modified);
  return source;
}

std::unique_ptr<ByteSource> ByteSource::FromMemory(const void* bytes, size_t size) {
  std::unique_ptr<ByteSource> source(new (std::nothrow) ByteSource());
  if (source != nullptr) {
    source->memory_ = static_cast<const uint8_t*>(bytes);
    source->size_ = static_cast<int64_t>(size);
  }
  return source;
}

ByteSource::~ByteSource() {
  if (descriptor_ >= 0) {
    CloseDescriptor(descriptor_);
  }
}

uint32_t ByteSource::ReadAt(uint64_t offset, void* buffer, uint32_t count) const {
  if (size_ < 0 || offset >= static_cast<uint64_t>(size_)) {
    return 0;
  }
  const auto wanted = static_cast<uint32_t>(std::min<uint64_t>(count, static_cast<uint64_t>(size_) - offset));
  auto* out = static_cast<uint8_t*>(buffer);
  if (memory_ != nullptr) {
    std::memcpy(out, memory_ + offset, wanted);
    return wanted;
  }
  uint32_t done = 0;
  while (done < wanted) {
    const uint32_t got = ReadPart(descriptor_, offset + done, out + done, wanted - done);
    if (got == 0) {
      break;
    }
    done += got;
  }
  return done;
}
