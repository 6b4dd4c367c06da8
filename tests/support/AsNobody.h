#pragma once

#include <sys/fsuid.h>
#include <unistd.h>

namespace braq::tests {

/// This thread reaches files as nobody does, as long as this lives. Without the privilege for that it stays who it is, who
/// then is not the one that may do everything.
class AsNobody {
  public:
    AsNobody() {
        setfsgid(nobody);
        setfsuid(nobody);
    }
    ~AsNobody() {
        setfsuid(geteuid());
        setfsgid(getegid());
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

  private:
    static constexpr unsigned nobody = 65534;
};

} // namespace braq::tests
