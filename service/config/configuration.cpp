// SPDX-License-Identifier: MIT
#include <service/config/configuration.h>

#include <service/base/refused.h>
#include <service/config/qcd_secret.h>

#include <platform/system/files.h>
#include <platform/system/little_endian.h>
#include <platform/system/wipe.h>

namespace panelkitd {

using std::string_view;
using vocabulary::Refused;

namespace {

constexpr std::size_t largestBody = std::size_t{1} << 20;
constexpr std::size_t sizeOfLength = 4;
constexpr std::chrono::seconds defaultTimeOfDay = std::chrono::hours(10);

Bodies defaultBodies(const Configuration::StartValues& start) {
    const panelkit::AllGroups groups;
    using namespace LPARAMS::Client;
    const auto find = [&](const char* section, const char* key) { return groups.find(section, key).param; };
    static_cast<StStParam*>(find("ADMIN", "ADMIN_GROUP"))->value = start.administratorsGroup;
    static_cast<EnumParam*>(find("LOG", "LOG_LEVEL"))->value = static_cast<int>(start.logLevel);
    Bodies bodies;
    for (const auto& group : groups) {
        std::string body;
        CommandStreamOut out(body);
        group->save(out);
        bodies.set(group->name, body);
    }
    return bodies;
}

std::string inQuotes(string_view name) { return '"' + std::string(name.substr(0, 32)) + '"'; }

const LPARAMS::Client::ParamGroup& existing(const Shapes& shapes, string_view section) {
    if (const auto* shape = shapes.find(section)) return *shape;
    throw RefusedError(Refused::noSuchObject, "there is no section " + inQuotes(section));
}

template <class Integer>
Integer number(string_view bytes) {
    return platform::loadLittleEndian<Integer>(bytes.data());
}

// A level or a choice that there is not, which front ends can write, changes nothing.
template <class Choice>
Choice choice(string_view bytes, Choice last, Choice otherwise) {
    const auto value = number<std::int32_t>(bytes);
    return value >= 0 && value <= static_cast<std::int32_t>(last) ? static_cast<Choice>(value) : otherwise;
}

std::chrono::seconds timeOfDay(string_view bytes) {
    const auto seconds = number<std::int64_t>(bytes);
    return seconds >= 0 && seconds < 86400 ? std::chrono::seconds(seconds) : defaultTimeOfDay;
}

std::vector<std::string> difference(const Bodies& before, const Bodies& after) {
    std::vector<std::string> changed;
    for (const auto& [section, body] : after) {
        const std::string* former = before.find(section);
        if (!former || *former != body) changed.push_back(section);
    }
    return changed;
}

} // namespace

Configuration::Configuration(const StateFolder& state, const StartValues& start)
    : defaults_(defaultBodies(start)), file_(state, shapes_), committed_(file_.load()), written_(committed_) {}

string_view Configuration::bodyIn(const Bodies& bodies, string_view section) const {
    const std::string* body = bodies.find(section);
    return body ? *body : *defaults_.find(section);
}

std::string Configuration::read(string_view section) const {
    existing(shapes_, section);
    const std::scoped_lock lock(mutex_);
    return std::string(bodyIn(written_, section));
}

void Configuration::write(string_view section, string_view body) {
    const auto& shape = existing(shapes_, section);
    if (body.size() > largestBody) {
        throw RefusedError(Refused::badInput, "section " + inQuotes(section) + " has " + std::to_string(body.size()) +
                                                  " bytes; at most " + std::to_string(largestBody) + " are taken");
    }
    try {
        shapes_.cut(shape, body);
    } catch (const BodyError& error) {
        throw RefusedError(Refused::badInput, "section " + inQuotes(section) + ": " + error.what());
    }
    const std::scoped_lock lock(mutex_);
    written_.set(section, body);
}

std::vector<std::string> Configuration::commit() {
    const std::scoped_lock commitLock(commitMutex_);
    std::unique_lock lock(mutex_);
    const Bodies before = committed_, written = written_;
    lock.unlock(); // front ends may read and write while the disk works
    Bodies after = written;
    completeSecret(after);
    try {
        file_.save(after);
    } catch (const platform::FileError& error) {
        throw RefusedError(Refused::notStored, error.what());
    }
    adopt(written, after);
    std::vector<std::string> changed = difference(before, after);
    for (const Observer& observer : observers_) observer(extract(after), changed);
    return changed;
}

void Configuration::adopt(const Bodies& written, const Bodies& committed) {
    const std::scoped_lock lock(mutex_);
    committed_ = committed;
    for (const std::string& section : difference(written, committed)) {
        // A secret that was made now; what was written in the meantime comes with the next commit.
        if (*written_.find(section) == *written.find(section)) written_.set(section, *committed.find(section));
    }
}

void Configuration::completeSecret(Bodies& bodies) const {
    const std::string* body = bodies.find("IKE");
    if (!body) return;
    const auto secretIn = [&](string_view whole) { return shapes_.bytesOf("IKE", "QCD_SECRET", whole); };
    const string_view delivered = secretIn(*body);
    const string_view committed = secretIn(bodyIn(committed_, "IKE"));
    std::string history = completeHistory(delivered.substr(sizeOfLength), committed.substr(sizeOfLength));
    const platform::WipeOnExit wipedHistory(history);
    std::string whole;
    const platform::WipeOnExit wipedWhole(whole);
    whole.reserve(body->size() + history.size());
    const char* end = delivered.data() + delivered.size();
    whole.append(body->data(), delivered.data());
    CommandStreamOut(whole) << history;
    whole.append(end, body->data() + body->size());
    bodies.set("IKE", whole);
}

Settings Configuration::settings() const {
    const std::scoped_lock lock(mutex_);
    return extract(committed_);
}

Settings Configuration::extract(const Bodies& bodies) const {
    const auto bytes = [&](const char* section, const char* key) {
        return shapes_.bytesOf(section, key, bodyIn(bodies, section));
    };
    const LogLevel startLevel =
        choice(shapes_.bytesOf("LOG", "LOG_LEVEL", *defaults_.find("LOG")), LogLevel::debug, LogLevel::events);
    return {
        .expiry = {.enabled = bytes("CERTMON", "ENABLE")[0] == 1,
                   .days = number<std::uint32_t>(bytes("CERTMON", "DAYS_TO_EXPIRE")),
                   .timeOfDay = timeOfDay(bytes("CERTMON", "CHECKING_TIME"))},
        .crlProcessing = choice(bytes("IKE", "CRL_PROCESSING"), CrlProcessing::soft, CrlProcessing::off),
        .logLevel = choice(bytes("LOG", "LOG_LEVEL"), LogLevel::debug, startLevel),
        .administratorsGroup = std::string(bytes("ADMIN", "ADMIN_GROUP").substr(sizeOfLength)),
    };
}

} // namespace panelkitd
