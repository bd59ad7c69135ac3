// A client on the system bus that asks a service the same question again and again, and tells how long that took.
//
//   BusClient start QUESTION -- PROGRAM [ARGUMENT...]   starts the service: seconds to its first answer, process id
//   BusClient single COUNT QUESTION                     one call after the other: seconds a call, the median
//   BusClient pipelined COUNT QUESTION                  a hundred under way: seconds a call, of all of them
//
// A question is NAME PATH INTERFACE MEMBER [TEXT...]. Any failure ends it with status 1.

#include "Seconds.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <span>
#include <spawn.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr unsigned limitSec = 300; // for all of it
constexpr long underWay = 100;
constexpr long warmUp = 20;

int checked(int result, const char *what)
{
    if (result < 0) {
        std::fprintf(stderr, "BusClient: %s: %s\n", what, std::strerror(-result));
        std::exit(1);
    }
    return result;
}

struct Unref
{
    void operator()(sd_bus *bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, Unref>;
using Message = std::unique_ptr<sd_bus_message, Unref>;

class Client
{
public:
    /** @param question at least four texts */
    explicit Client(std::span<char *> question) : words(question)
    {
        sd_bus *opened = nullptr;
        checked(sd_bus_open_system(&opened), "no bus");
        bus.reset(opened);
    }

    void ask()
    {
        sd_bus_message *answer = nullptr;
        checked(sd_bus_call(bus.get(), call().get(), 0, nullptr, &answer), "no answer");
        const Message taken(answer);
    }

    double startAndAsk(std::span<char *> program, pid_t &process)
    {
        const std::string rule = "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
                                 std::string(words[0]) + "'";
        bool isThere = false;
        checked(sd_bus_add_match(bus.get(), nullptr, rule.c_str(), noteOwner, &isThere), "can't watch the name");
        return secondsOf([&] {
            process = started(program);
            while (!isThere)
                processOne();
            ask();
        });
    }

    double singleMedian(long count)
    {
        for (long number = 0; number < warmUp; ++number)
            ask();
        std::vector<double> taken;
        for (long number = 0; number < count; ++number)
            taken.push_back(secondsOf([this] { ask(); }));
        const auto middle = taken.begin() + count / 2;
        std::ranges::nth_element(taken, middle);
        return *middle;
    }

    double pipelinedMean(long count)
    {
        const double all = secondsOf([&] {
            unsent = unanswered = count;
            while (unsent > 0 && unsent > count - underWay)
                sendNext();
            while (unanswered > 0)
                processOne();
        });
        return all / static_cast<double>(count);
    }

private:
    Message call()
    {
        sd_bus_message *made = nullptr;
        checked(sd_bus_message_new_method_call(bus.get(), &made, words[0], words[1], words[2], words[3]), "no message");
        Message message(made);
        for (const char *text : words.subspan(4))
            checked(sd_bus_message_append_basic(made, 's', text), "no message");
        return message;
    }

    void processOne()
    {
        if (checked(sd_bus_process(bus.get(), nullptr), "the bus is lost") == 0)
            checked(sd_bus_wait(bus.get(), UINT64_MAX), "the bus is lost");
    }

    static int noteOwner(sd_bus_message *signal, void *isThere, sd_bus_error *)
    {
        const char *name = nullptr;
        const char *before = nullptr;
        const char *now = nullptr;
        checked(sd_bus_message_read(signal, "sss", &name, &before, &now), "a signal can't be read");
        *static_cast<bool *>(isThere) = *now != '\0';
        return 0;
    }

    static pid_t started(std::span<char *> program)
    {
        posix_spawn_file_actions_t silent{};
        posix_spawn_file_actions_init(&silent);
        posix_spawn_file_actions_addopen(&silent, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&silent, STDOUT_FILENO, STDERR_FILENO);
        pid_t process = 0;
        checked(-posix_spawnp(&process, program[0], &silent, nullptr, program.data(), environ), program[0]);
        posix_spawn_file_actions_destroy(&silent);
        return process;
    }

    void sendNext()
    {
        --unsent;
        checked(sd_bus_call_async(bus.get(), nullptr, call().get(), noteAnswer, this, 0), "can't send");
    }

    static int noteAnswer(sd_bus_message *answer, void *context, sd_bus_error *)
    {
        checked(-sd_bus_message_get_errno(answer), "an error for an answer");
        auto *const client = static_cast<Client *>(context);
        --client->unanswered;
        if (client->unsent > 0)
            client->sendNext();
        return 0;
    }

    std::span<char *> words;
    Bus bus;
    long unsent = 0;
    long unanswered = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const std::span<char *> all(argv, static_cast<size_t>(argc) + 1); // a null pointer is its last
    const std::string mode = argc > 6 ? all[1] : "";
    alarm(limitSec);
    if (mode == "start") {
        const auto divider = std::ranges::find_if(all.subspan(2, all.size() - 3),
                                                  [](const char *word) { return std::strcmp(word, "--") == 0; });
        const std::span<char *> question(all.begin() + 2, divider);
        const std::span<char *> program(divider + 1, all.end());
        if (question.size() < 4 || program.size() < 2)
            return 2;
        pid_t process = 0;
        const double seconds = Client(question).startAndAsk(program, process);
        std::printf("%.9f %d\n", seconds, process);
        return 0;
    }
    if (mode != "single" && mode != "pipelined")
        return 2;
    const long count = std::strtol(all[2], nullptr, 10);
    Client client(all.subspan(3, all.size() - 4));
    std::printf("%.9f\n", mode == "single" ? client.singleMedian(count) : client.pipelinedMean(count));
}
