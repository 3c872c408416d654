// SPDX-License-Identifier: MIT
//
// sd-bus over a direct connection, without a bus between the two, against a raw socket.
#include <bench/raw_socket.h>

#include <systemd/sd-bus.h>

namespace {

using bench::fail;

constexpr const char* path = "/bench";
constexpr const char* interface = "bench.Giving";
constexpr const char* member = "Give";

sd_bus* busOver(int socket) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, socket, socket) < 0) fail("sd_bus_new");
    return bus;
}

// Answers with as many bytes as the request asks for.
int give(sd_bus_message* call, void*, sd_bus_error*) {
    const void* request = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(call, 'y', &request, &size) < 0 || size != bench::requestSize) fail("the request");
    std::uint32_t wanted = 0;
    std::memcpy(&wanted, request, sizeof wanted);
    sd_bus_message* reply = nullptr;
    int done = sd_bus_message_new_method_return(call, &reply);
    if (done >= 0) done = sd_bus_message_append_array(reply, 'y', bench::storedBytes().data(), wanted);
    if (done >= 0) done = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return done;
}

void serve(int socket) {
    const sd_bus_vtable methods[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD(member, "ay", "ay", give, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
    };
    sd_bus* bus = busOver(socket);
    const sd_id128_t id{};
    if (sd_bus_set_server(bus, 1, id) < 0 || sd_bus_set_anonymous(bus, 1) < 0) fail("the server");
    if (sd_bus_start(bus) < 0) fail("sd_bus_start");
    if (sd_bus_add_object_vtable(bus, nullptr, path, interface, methods, nullptr) < 0) fail("the object");
    for (;;) {
        const int processed = sd_bus_process(bus, nullptr);
        if (processed < 0) return;
        if (processed == 0) sd_bus_wait(bus, UINT64_MAX);
    }
}

void ask(sd_bus* bus, const std::string& request, std::string& reply) {
    sd_bus_message* call = nullptr;
    sd_bus_message* answer = nullptr;
    int done = sd_bus_message_new_method_call(bus, &call, nullptr, path, interface, member);
    if (done >= 0) done = sd_bus_message_append_array(call, 'y', request.data(), request.size());
    if (done >= 0) done = sd_bus_call(bus, call, 0, nullptr, &answer);
    const void* bytes = nullptr;
    std::size_t size = 0;
    if (done >= 0) done = sd_bus_message_read_array(answer, 'y', &bytes, &size);
    if (done < 0) fail("a call over sd-bus");
    reply.assign(static_cast<const char*>(bytes), size);
    sd_bus_message_unref(call);
    sd_bus_message_unref(answer);
}

} // namespace

int main() {
    bench::shareOneProcessor();
    const bench::RawPair raw;
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) fail("socketpair");
    const bench::Child server([&] { serve(ends[1]); });
    ::close(ends[1]);
    sd_bus* bus = busOver(ends[0]);
    if (sd_bus_start(bus) < 0) fail("sd_bus_start");
    bench::compareTransport("sd-bus: ", raw,
                            [&](const std::string& request, std::string& reply) { ask(bus, request, reply); });
    return 0;
}
