#include "can/CanTermination.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace {

/** The node as long as it is open. */
class Node
{
public:
    explicit Node(int accessMode) : descriptor(::open("/dev/canterm", accessMode | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
    {
    }
    ~Node()
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    Node(const Node &) = delete;
    Node &operator=(const Node &) = delete;

    const int descriptor; // below zero when it can't be opened, which every later call refuses
};

} // namespace

void writeCanTermination(bool on)
{
    const Node node(O_WRONLY | O_TRUNC);
    const unsigned char state = on ? 1 : 0;
    [[maybe_unused]] const ssize_t written = ::write(node.descriptor, &state, 1); // a failure is not reported
}

bool readCanTermination()
{
    const Node node(O_RDONLY);
    std::array<char, 2> state{};
    return ::read(node.descriptor, state.data(), state.size()) > 0 && state[0] == '1';
}
