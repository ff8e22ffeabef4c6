// Ends the poll() of a thread from any other one.
#pragma once

#include "platform/RegularFile.h"

namespace morvel {

class WakePipe {
public:
    WakePipe();

    // Makes the descriptor readable until clear(). Any thread; does not wait.
    void wake() const;

    int descriptor() const { return reader_.number(); }
    void clear() const;

private:
    FileDescriptor reader_{-1};
    FileDescriptor writer_{-1};
};

} // namespace morvel
