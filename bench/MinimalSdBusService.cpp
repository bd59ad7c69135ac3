// The least that a service on the bus can be without Qt: one object, one property, by way of systemd's library.

#include <systemd/sd-bus.h>

namespace {

int answer(sd_bus_message *call, void *, sd_bus_error *)
{
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") <= 0)
        return 0;
    return sd_bus_reply_method_return(call, "v", "s", "1");
}

} // namespace

int main()
{
    sd_bus *bus = nullptr;
    if (sd_bus_open_system(&bus) < 0 || sd_bus_add_object(bus, nullptr, "/version", answer, nullptr) < 0 ||
        sd_bus_request_name(bus, "com.ozt.minimal.sdbus", 0) < 0)
        return 1;
    for (;;) {
        const int done = sd_bus_process(bus, nullptr);
        if (done < 0 || (done == 0 && sd_bus_wait(bus, UINT64_MAX) < 0))
            return 1;
    }
}
