// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_DIRECTORY_WATCH_H
#define QOR_MAINTAIND_SERVICE_DIRECTORY_WATCH_H

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include <asio/posix/stream_descriptor.hpp>

namespace qor::maintaind::proxy {

/// Tells when files come into a directory, leave it or change their attributes. On the io thread.
class DirectoryWatch : public std::enable_shared_from_this<DirectoryWatch> {  // shared with what the loop holds
 public:
  using Handler = std::function<void()>;

  DirectoryWatch(std::string directory, Handler onChange);

  /// Without effect while it runs, and when the directory cannot be watched: it may not be there.
  void Start();
  /// The handler is not called any more.
  void Stop();
  /// It ends by itself when the directory goes away; the handler is called then, too.
  bool IsRunning() const { return inotify_.is_open(); }

 private:
  void Read();
  void OnRead(std::size_t size);
  void Close();

  const std::string directory_;
  Handler onChange_;  // null: stopped
  asio::posix::stream_descriptor inotify_;
  alignas(std::max_align_t) std::array<char, 4096> buffer_{};
};

}  // namespace qor::maintaind::proxy

#endif
