// SPDX-License-Identifier: MIT
#include <testing/token_module/attributes.h>

#include <testing/token_module/failure.h>
#include <testing/token_module/lines.h>
#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>

#include <platform/system/wipe.h>
#include <platform/text/ascii.h>

#include <algorithm>
#include <cstring>

namespace panelkit::testing {

Attributes::Attributes(const CK_ATTRIBUTE* attributes, CK_ULONG size) {
    demand(attributes || size == 0, CKR_ARGUMENTS_BAD);
    for (CK_ULONG i = 0; i < size; ++i) {
        const CK_ATTRIBUTE& attribute = attributes[i];
        demand(attribute.pValue || attribute.ulValueLen == 0, CKR_ATTRIBUTE_VALUE_INVALID);
        demand(!find(attribute.type), CKR_TEMPLATE_INCONSISTENT);
        set(attribute.type, {static_cast<const char*>(attribute.pValue), attribute.ulValueLen});
    }
}

Attributes::~Attributes() {
    for (auto& [type, value] : values_) platform::wipe(value);
}

const std::string* Attributes::find(CK_ATTRIBUTE_TYPE type) const {
    const auto found = values_.find(type);
    return found == values_.end() ? nullptr : &found->second;
}

bool Attributes::isTrue(CK_ATTRIBUTE_TYPE type) const {
    const std::string* value = find(type);
    return value && value->size() == sizeof(CK_BBOOL) && value->front() != CK_FALSE;
}

CK_ULONG Attributes::number(CK_ATTRIBUTE_TYPE type) const {
    const std::string* value = find(type);
    CK_ULONG number = CK_UNAVAILABLE_INFORMATION;
    if (value && value->size() == sizeof number) std::memcpy(&number, value->data(), sizeof number);
    return number;
}

// A longer value goes to new storage, so the old one is wiped first.
void Attributes::set(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    std::string& place = values_[type];
    platform::wipe(place);
    place.assign(value);
}

void Attributes::setUnlessThere(CK_ATTRIBUTE_TYPE type, std::string_view value) {
    if (!find(type)) set(type, value);
}

void Attributes::setAll(const Attributes& others) {
    for (const auto& [type, value] : others.values_) set(type, value);
}

bool Attributes::contain(const Attributes& wanted) const {
    return std::ranges::all_of(wanted.values_, [this](const auto& attribute) {
        const std::string* value = find(attribute.first);
        return value && *value == attribute.second;
    });
}

bool Attributes::secret(CK_ATTRIBUTE_TYPE type) const {
    const bool unextractable = find(CKA_EXTRACTABLE) && !isTrue(CKA_EXTRACTABLE);
    return type == CKA_VALUE && (isTrue(CKA_SENSITIVE) || unextractable);
}

std::string Attributes::text() const {
    std::size_t size = 0;
    for (const auto& [type, value] : values_) size += 2 * value.size() + 32;
    std::string text;
    text.reserve(size); // growing would leave the secret in the freed memory
    for (const auto& [type, value] : values_) {
        std::string digits = platform::hexText(value);
        text.append(std::to_string(type)).append(": ").append(digits).append("\n");
        platform::wipe(digits);
    }
    return text;
}

Attributes Attributes::parse(std::string_view text) {
    Attributes parsed;
    for (const auto& [key, value] : parseLines(text)) {
        fromHexDigits(value, parsed.values_[static_cast<CK_ATTRIBUTE_TYPE>(testing::number(key))]);
    }
    return parsed;
}

ObjectStore::ObjectStore(const std::filesystem::path& folder, std::string_view token)
    : counter_(folder / "last-object"), objects_(tokenFolder(folder, token) / "objects") {}

std::filesystem::path ObjectStore::file(CK_OBJECT_HANDLE handle) const { return objects_ / std::to_string(handle); }

std::vector<CK_OBJECT_HANDLE> ObjectStore::handles() const {
    std::vector<CK_OBJECT_HANDLE> all;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(objects_, none)) {
        // Temporary files of a crash have an extension.
        const std::string name = entry.path().filename().string();
        if (!entry.path().has_extension()) all.push_back(static_cast<CK_OBJECT_HANDLE>(testing::number(name)));
    }
    std::ranges::sort(all);
    return all;
}

SharedAttributes ObjectStore::load(CK_OBJECT_HANDLE handle) const {
    std::optional<std::string> text = readFile(file(handle));
    if (!text) return nullptr;
    const platform::WipeOnExit wiped(*text);
    return std::make_shared<const Attributes>(Attributes::parse(*text));
}

CK_OBJECT_HANDLE ObjectStore::add(const Attributes& object) {
    const std::optional<std::string> last = readFile(counter_);
    const auto handle = static_cast<CK_OBJECT_HANDLE>(last ? number(*last) + 1 : 1);
    replaceFile(counter_, std::to_string(handle));
    std::filesystem::create_directories(objects_);
    store(handle, object);
    return handle;
}

void ObjectStore::store(CK_OBJECT_HANDLE handle, const Attributes& object) {
    std::string text = object.text();
    const platform::WipeOnExit wiped(text);
    replaceFile(file(handle), text);
}

void ObjectStore::remove(CK_OBJECT_HANDLE handle) { std::filesystem::remove(file(handle)); }

void ObjectStore::removeAll() { std::filesystem::remove_all(objects_); }

} // namespace panelkit::testing
