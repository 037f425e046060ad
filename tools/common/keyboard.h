// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_KEYBOARD_H
#define QOR_TOOLS_COMMON_KEYBOARD_H

#include <array>
#include <vector>

namespace qor::tools {

/// Single keys from the terminal on stdin, at once and without showing them, until destroyed. The terminal is as it was
/// before however the program ends, and while it is suspended. There is no keyboard when stdin is no terminal, or the
/// program runs in the background. Make it after the StopSignal; there is one at a time. Used by one thread.
class Keyboard {
 public:
  static constexpr int kRightArrow = 256;

  Keyboard();
  ~Keyboard();
  Keyboard(const Keyboard&) = delete;
  Keyboard& operator=(const Keyboard&) = delete;

  bool IsOn() const { return isOn_; }
  /// Readable when Read has something to say; -1: never.
  int Fd() const;
  /// The keys that were pressed: characters, or kRightArrow. Does not wait.
  std::vector<int> Read();

 private:
  bool isOn_ = false;
};

}  // namespace qor::tools

#endif
