// SPDX-License-Identifier: MIT
#include <service/modules/object_reader.h>

#include <service/modules/cryptoki.h>

#include <algorithm>

namespace panelkitd {

namespace {

constexpr std::size_t usualSize = 2048; // of an attribute; a larger one takes two calls more

// A module that announces larger values is not believed: they are treated as missing. Only certificates, revocation
// lists and the like are large; labels and numbers end up together in the replies of listings.
constexpr CK_ULONG largestValue = CK_ULONG{32} << 20U;
constexpr CK_ULONG largestOther = CK_ULONG{64} << 10U;
constexpr CK_ULONG absentSize = ~CK_ULONG{0}; // what PKCS#11 says of a value that is not there

CK_OBJECT_CLASS classOf(const HostReading& reading) { return static_cast<CK_OBJECT_CLASS>(reading.objectClass); }
CK_OBJECT_HANDLE handleOf(const HostObject& object) { return static_cast<CK_OBJECT_HANDLE>(object.object); }

} // namespace

// ---- the attributes of one class

AttributeReader::AttributeReader(const Pkcs11Library& library, CK_SESSION_HANDLE session,
                                 const std::vector<std::uint64_t>& types)
    : library_(library), session_(session), types_(types), buffers_(types.size(), std::string(usualSize, '\0')) {}

AttributeReader::~AttributeReader() {
    for (std::string& buffer : buffers_) platform::wipe(buffer);
}

Outcome AttributeReader::read(CK_OBJECT_HANDLE object, std::vector<HostValue>& values,
                              std::optional<CK_OBJECT_CLASS> wanted) {
    CK_RV result = fetch(object, wanted || types_.empty());
    if (result == CKR_OBJECT_HANDLE_INVALID) return Outcome::gone;
    if (wanted && class_ != *wanted) return Outcome::otherClass;
    if (result == CKR_BUFFER_TOO_SMALL) {
        grow(object);
        result = fetch(object, false);
        if (result == CKR_OBJECT_HANDLE_INVALID) return Outcome::gone;
    }
    // With these results the other values were read. A value that is secret or that the object does not have is
    // marked.
    if (result != CKR_ATTRIBUTE_SENSITIVE && result != CKR_ATTRIBUTE_TYPE_INVALID && result != CKR_BUFFER_TOO_SMALL) {
        check(result, "C_GetAttributeValue");
    }
    values.resize(types_.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const CK_ULONG size = fetched_[i].ulValueLen;
        values[i].known = size != absentSize && size <= buffers_[i].size();
        if (values[i].known) values[i].bytes.assign(buffers_[i], 0, size);
    }
    return Outcome::read;
}

CK_RV AttributeReader::fetch(CK_OBJECT_HANDLE object, bool withClass) {
    fetched_.clear();
    for (std::size_t i = 0; i < types_.size(); ++i) {
        fetched_.push_back(
            {static_cast<CK_ATTRIBUTE_TYPE>(types_[i]), buffers_[i].data(), static_cast<CK_ULONG>(buffers_[i].size())});
    }
    if (!withClass) return get(object);
    class_ = noClass;
    fetched_.push_back({CKA_CLASS, &class_, sizeof class_});
    const CK_RV result = get(object);
    if (fetched_.back().ulValueLen != sizeof class_) class_ = noClass;
    return result;
}

// Makes the buffers large enough for values that did not fit.
void AttributeReader::grow(CK_OBJECT_HANDLE object) {
    fetched_.clear();
    for (const std::uint64_t type : types_) {
        fetched_.push_back({static_cast<CK_ATTRIBUTE_TYPE>(type), nullptr, 0});
    }
    get(object);
    for (std::size_t i = 0; i < fetched_.size(); ++i) {
        const CK_ULONG size = fetched_[i].ulValueLen;
        const CK_ULONG largest = types_[i] == CKA_VALUE ? largestValue : largestOther;
        if (size != absentSize && size > buffers_[i].size() && size <= largest) buffers_[i].resize(size);
    }
}

CK_RV AttributeReader::get(CK_OBJECT_HANDLE object) {
    return library_->C_GetAttributeValue(session_, object, fetched_.data(), static_cast<CK_ULONG>(fetched_.size()));
}

// ---- the attributes of several classes

ReadingsOfClasses::ReadingsOfClasses(const Pkcs11Library& library, CK_SESSION_HANDLE session,
                                     const std::vector<HostReading>& readings)
    : readings_(readings), classReader_(library, session, nothing_) {
    for (const HostReading& reading : readings) readers_.emplace_back(library, session, reading.types);
}

std::optional<HostObject> ReadingsOfClasses::read(CK_OBJECT_HANDLE handle, bool withValues) {
    isGone_ = false;
    if (readings_.empty()) return std::nullopt;
    HostObject object{handle, 0, {}};
    const bool ofAnyClass = readings_.size() == 1;
    if (!withValues && !ofAnyClass && !find(handle)) return std::nullopt;
    if (withValues && !(ofAnyClass ? readAny(object) : readOfItsClass(object))) return std::nullopt;
    object.objectClass = readings_[current_].objectClass;
    return object;
}

bool ReadingsOfClasses::isRead(Outcome outcome) {
    isGone_ = outcome == Outcome::gone;
    return outcome == Outcome::read;
}

bool ReadingsOfClasses::readAny(HostObject& object) {
    return isRead(readers_[0].read(handleOf(object), object.values));
}

bool ReadingsOfClasses::readOfItsClass(HostObject& object) {
    AttributeReader& usual = readers_[current_];
    const Outcome outcome = usual.read(handleOf(object), object.values, classOf(readings_[current_]));
    if (outcome != Outcome::otherClass) return isRead(outcome);
    const bool isKnown = usual.lastClass() != noClass;
    if (isKnown ? !choose(usual.lastClass()) : !find(handleOf(object))) return false;
    return isRead(readers_[current_].read(handleOf(object), object.values));
}

// Chooses the reading for the class of the object, which it reads alone.
bool ReadingsOfClasses::find(CK_OBJECT_HANDLE handle) {
    std::vector<HostValue> none;
    return isRead(classReader_.read(handle, none)) && choose(classReader_.lastClass());
}

bool ReadingsOfClasses::choose(CK_OBJECT_CLASS its) {
    const auto found = std::find_if(readings_.begin(), readings_.end(),
                                    [its](const HostReading& reading) { return classOf(reading) == its; });
    if (found != readings_.end()) current_ = static_cast<std::size_t>(found - readings_.begin());
    return found != readings_.end();
}

} // namespace panelkitd
