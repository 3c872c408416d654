// SPDX-License-Identifier: MIT
#include <testing/token_module/entry_points.h>

#include <testing/token_module/call.h>
#include <testing/token_module/failure.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <utility>

namespace panelkit::testing::entry {

namespace {

// Every value has so many bytes, those of attributes that the object does not have too.
CK_RV answerLarge(CK_ATTRIBUTE& wanted, CK_ULONG size) {
    const CK_ULONG room = std::exchange(wanted.ulValueLen, size);
    if (wanted.pValue && room < size) return CKR_BUFFER_TOO_SMALL;
    if (wanted.pValue) std::memset(wanted.pValue, 'x', size);
    return CKR_OK;
}

// Answers one attribute of the caller's template, and returns the result for this attribute.
CK_RV answer(const Attributes& object, CK_ATTRIBUTE& wanted, const Faults& faults) {
    if (faults.large && wanted.type != CKA_CLASS) return answerLarge(wanted, *faults.large);
    const std::string* value = object.find(wanted.type);
    const CK_ULONG room = std::exchange(wanted.ulValueLen, CK_UNAVAILABLE_INFORMATION);
    if (object.secret(wanted.type)) return CKR_ATTRIBUTE_SENSITIVE;
    if (!value) return CKR_ATTRIBUTE_TYPE_INVALID;
    if (wanted.pValue && room < value->size()) return CKR_BUFFER_TOO_SMALL;
    if (wanted.pValue) std::memcpy(wanted.pValue, value->data(), value->size());
    wanted.ulValueLen = static_cast<CK_ULONG>(value->size());
    return CKR_OK;
}

// As many objects as there is room for, so that the caller asks for more and more: after those that were found, ones
// that don't exist.
std::vector<CK_OBJECT_HANDLE> endless(std::vector<CK_OBJECT_HANDLE> found, CK_ULONG most) {
    static std::atomic<CK_OBJECT_HANDLE> invented{1'000'000};
    while (found.size() < most) found.push_back(++invented);
    return found;
}

// The claimed size is absurd; nothing is written beyond the caller's memory.
void spoil(CK_ATTRIBUTE& answered, const Faults& faults) {
    const bool written = answered.pValue && answered.ulValueLen != CK_UNAVAILABLE_INFORMATION;
    if (faults.garbage && written) fillWithGarbage(answered.pValue, answered.ulValueLen);
    if (faults.count) answered.ulValueLen = static_cast<CK_ULONG>(*faults.count);
}

} // namespace

CK_RV createObject(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count, CK_OBJECT_HANDLE* object) {
    return call("C_CreateObject", [&](Module& module, const Faults& faults) {
        demand(object, CKR_ARGUMENTS_BAD);
        *object = module.createObject(session, Attributes(attributes, count));
        if (faults.handle) *object = static_cast<CK_OBJECT_HANDLE>(*faults.handle);
    });
}

CK_RV destroyObject(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object) {
    return call("C_DestroyObject", [&](Module& module, const Faults&) { module.destroyObject(session, object); });
}

CK_RV getAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) {
    return call("C_GetAttributeValue", [&](Module& module, const Faults& faults) {
        demand(attributes || count == 0, CKR_ARGUMENTS_BAD);
        const SharedAttributes values = module.object(session, object);
        CK_RV last = CKR_OK;
        for (CK_ULONG i = 0; i < count; ++i) {
            const CK_RV one = answer(*values, attributes[i], faults);
            if (one != CKR_OK) last = one;
            spoil(attributes[i], faults);
        }
        demand(last == CKR_OK, last);
    });
}

CK_RV setAttributeValue(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE* attributes, CK_ULONG count) {
    return call("C_SetAttributeValue", [&](Module& module, const Faults&) {
        module.changeObject(session, object, Attributes(attributes, count));
    });
}

CK_RV findObjectsInit(CK_SESSION_HANDLE session, CK_ATTRIBUTE* attributes, CK_ULONG count) {
    return call("C_FindObjectsInit",
                [&](Module& module, const Faults&) { module.startSearch(session, Attributes(attributes, count)); });
}

CK_RV findObjects(CK_SESSION_HANDLE session, CK_OBJECT_HANDLE* objects, CK_ULONG most, CK_ULONG* count) {
    return call("C_FindObjects", [&](Module& module, const Faults& faults) {
        demand(objects && count, CKR_ARGUMENTS_BAD);
        std::vector<CK_OBJECT_HANDLE> found = module.continueSearch(session, most);
        if (faults.repeat) found = endless(std::move(found), most);
        if (faults.handle) std::ranges::fill(found, static_cast<CK_OBJECT_HANDLE>(*faults.handle));
        std::ranges::copy(found, objects);
        *count = static_cast<CK_ULONG>(faults.count.value_or(found.size()));
    });
}

CK_RV findObjectsFinal(CK_SESSION_HANDLE session) {
    return call("C_FindObjectsFinal", [&](Module& module, const Faults&) { module.endSearch(session); });
}

} // namespace panelkit::testing::entry
