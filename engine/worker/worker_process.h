#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>

#include "engine/core/engine_error.h"
#include "engine/worker/channel.h"

namespace trfilter {

/// A directory that nobody else writes to, removed with the object and all that is in it.
class PrivateDirectory {
 public:
  /// @param parent  empty: the system's directory for temporary files
  explicit PrivateDirectory(const std::string& parent);
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;
  ~PrivateDirectory();

  /// Empty when there is none: then nothing can be written.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Memory that host and worker share, of a size that neither can change.
class SharedMemory {
 public:
  enum class Writer { host, worker };

  /// @param writer  the side that writes to it; the other one only reads
  /// @throws EngineError code 17 when there is no such memory
  SharedMemory(std::size_t size, Writer writer);
  SharedMemory(const SharedMemory&) = delete;
  SharedMemory& operator=(const SharedMemory&) = delete;
  ~SharedMemory();

  int descriptor() const { return descriptor_; }
  char* data() const { return data_; }

 private:
  std::size_t size_;
  int descriptor_ = -1;
  char* data_ = nullptr;
};

/// An open descriptor.
class Descriptor {
 public:
  explicit Descriptor(int value = -1) : value_(value) {}
  Descriptor(Descriptor&& other) noexcept : value_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Descriptor();

  int get() const { return value_; }
  int release() { return std::exchange(value_, -1); }

 private:
  int value_;
};

/// A running worker, from its start to its end.
class WorkerProcess {
 public:
  /// Starts `trfilter-worker` of the engine's folder; returns before it is ready.
  /// @param temporary_parent  where the worker's own temporary directory is made
  /// @throws EngineError code 17
  WorkerProcess(const std::string& engine_directory, const std::string& temporary_parent);
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;
  ~WorkerProcess();

  Channel& channel() { return channel_; }
  char* window() const { return window_.data(); }
  const std::string& temporary_directory() const { return directory_.path(); }
  pid_t id() const { return id_; }

  /// How it ended.
  struct End {
    enum class How { exited, signalled, unknown, killed } how = How::unknown;
    int value = 0;                  ///< status of `exited`, number of `signalled`
    std::uint32_t peak_memory = 0;  ///< KiB; 0: unknown
  };

  /// Waits a moment for its end, kills it if it does not come, and reaps it. No second call.
  End end();
  /// Kills and reaps it at once.
  End kill();

 private:
  struct Sockets {
    Sockets();
    Descriptor host;
    Descriptor worker;
  };

  WorkerProcess(const std::string& engine_directory, const std::string& temporary_parent,
                Sockets sockets);
  void start(const std::string& engine_directory, int socket);
  End reap(bool killed);

  Channel channel_;
  SharedMemory window_{window_size, SharedMemory::Writer::host};
  SharedMemory outlet_{outlet_size, SharedMemory::Writer::worker};
  PrivateDirectory directory_;
  pid_t id_ = -1;      ///< -1: ended and reaped
  Descriptor handle_;  ///< its pidfd; none on a system without
};

}  // namespace trfilter
