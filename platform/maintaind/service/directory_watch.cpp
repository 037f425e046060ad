// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/service/directory_watch.h"

#include <sys/inotify.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include <asio/buffer.hpp>

#include "platform/ipc/io_thread.h"
#include "platform/ipc/unique_fd.h"

namespace qor::maintaind::proxy {
namespace {

/// A daemon binds its socket, listens, and then sets the mode: the last step shows up as a change of attributes.
constexpr std::uint32_t kMask =
    IN_CREATE | IN_ATTRIB | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t kEndMask = IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;

bool HoldsEnd(const char* events, std::size_t size) {
  for (std::size_t at = 0; at + sizeof(inotify_event) <= size;) {
    inotify_event event{};
    std::memcpy(&event, events + at, sizeof(event));
    if ((event.mask & kEndMask) != 0) {
      return true;
    }
    at += sizeof(event) + event.len;
  }
  return false;
}

}  // namespace

DirectoryWatch::DirectoryWatch(std::string directory, Handler onChange)
    : directory_(std::move(directory)), onChange_(std::move(onChange)), inotify_(ipc::IoThread()) {}

void DirectoryWatch::Start() {
  if (IsRunning()) {
    return;
  }
  ipc::UniqueFd inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!inotify || ::inotify_add_watch(inotify.Get(), directory_.c_str(), kMask) < 0) {
    return;
  }
  asio::error_code error;
  inotify_.assign(inotify.Get(), error);
  if (!error) {
    static_cast<void>(inotify.Release());  // the descriptor's now
    Read();
  }
}

void DirectoryWatch::Stop() {
  onChange_ = nullptr;
  Close();
}

void DirectoryWatch::Read() {
  inotify_.async_read_some(asio::buffer(buffer_),
                           [self = shared_from_this()](const asio::error_code& error, std::size_t size) {
                             if (self->onChange_ != nullptr) {
                               self->OnRead(error ? 0 : size);
                             }
                           });
}

/// Nothing read: the watch is broken.
void DirectoryWatch::OnRead(std::size_t size) {
  if (size == 0 || HoldsEnd(buffer_.data(), size)) {
    Close();
  } else {
    Read();
  }
  const Handler onChange = onChange_;  // a copy: it may stop the watch
  onChange();
}

void DirectoryWatch::Close() {
  asio::error_code ignored;
  inotify_.close(ignored);
}

}  // namespace qor::maintaind::proxy
