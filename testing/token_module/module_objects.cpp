// SPDX-License-Identifier: MIT
#include <testing/token_module/module.h>

#include <testing/token_module/failure.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace panelkit::testing {

namespace {

constexpr std::string_view no("\0", 1);
constexpr std::string_view yes("\1", 1);

bool isKey(CK_ULONG objectClass) { return objectClass == CKO_SECRET_KEY || objectClass == CKO_PRIVATE_KEY; }

// Adds the attributes that a template may omit. Keys are private unless it says otherwise.
void complete(Attributes& object) {
    demand(object.find(CKA_CLASS), CKR_TEMPLATE_INCOMPLETE);
    const CK_ULONG objectClass = object.number(CKA_CLASS);
    demand(objectClass != CK_UNAVAILABLE_INFORMATION, CKR_ATTRIBUTE_VALUE_INVALID);
    object.setUnlessThere(CKA_TOKEN, no);
    object.setUnlessThere(CKA_PRIVATE, isKey(objectClass) ? yes : no);
    object.setUnlessThere(CKA_MODIFIABLE, yes);
    object.setUnlessThere(CKA_LABEL, "");
    for (const CK_ATTRIBUTE_TYPE flag : {CKA_TOKEN, CKA_PRIVATE, CKA_MODIFIABLE}) {
        demand(object.find(flag)->size() == sizeof(CK_BBOOL), CKR_ATTRIBUTE_VALUE_INVALID);
    }
}

} // namespace

CK_OBJECT_HANDLE Module::createObject(CK_SESSION_HANDLE handle, Attributes object) {
    const Session& session = this->session(handle);
    complete(object);
    demand(visible(session, object), CKR_USER_NOT_LOGGED_IN);
    if (object.isTrue(CKA_TOKEN)) {
        demandWritable(session);
        demandRoom(session, object);
        return ObjectStore(folder_, tokenOf(session)).add(object);
    }
    SessionObject kept{handle, session.slot, std::make_shared<const Attributes>(std::move(object))};
    sessionObjects_.emplace(++lastSessionObject_, std::move(kept));
    return lastSessionObject_;
}

void Module::destroyObject(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle) {
    const SharedAttributes object = this->object(handle, objectHandle);
    const Session& session = this->session(handle);
    demand(!object->find(CKA_DESTROYABLE) || object->isTrue(CKA_DESTROYABLE), CKR_ACTION_PROHIBITED);
    if (object->isTrue(CKA_TOKEN)) {
        demandWritable(session);
        ObjectStore(folder_, tokenOf(session)).remove(objectHandle);
    } else {
        sessionObjects_.erase(objectHandle);
    }
}

SharedAttributes Module::object(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle) const {
    const Session& session = this->session(handle);
    SharedAttributes attributes;
    const auto found = sessionObjects_.find(objectHandle);
    if (found == sessionObjects_.end()) {
        attributes = ObjectStore(folder_, tokenOf(session)).load(objectHandle);
    } else if (found->second.slot == session.slot) {
        attributes = found->second.attributes;
    }
    demand(attributes && visible(session, *attributes), CKR_OBJECT_HANDLE_INVALID);
    return attributes;
}

void Module::changeObject(CK_SESSION_HANDLE handle, CK_OBJECT_HANDLE objectHandle, const Attributes& changes) {
    const SharedAttributes object = this->object(handle, objectHandle);
    const Session& session = this->session(handle);
    demand(object->isTrue(CKA_MODIFIABLE), CKR_ACTION_PROHIBITED);
    for (const CK_ATTRIBUTE_TYPE fixed : {CKA_CLASS, CKA_TOKEN, CKA_PRIVATE, CKA_MODIFIABLE, CKA_DESTROYABLE}) {
        demand(!changes.find(fixed), CKR_ATTRIBUTE_READ_ONLY);
    }
    auto changed = std::make_shared<Attributes>();
    changed->setAll(*object);
    changed->setAll(changes);
    if (object->isTrue(CKA_TOKEN)) {
        demandWritable(session);
        ObjectStore(folder_, tokenOf(session)).store(objectHandle, *changed);
    } else {
        sessionObjects_.at(objectHandle).attributes = std::move(changed);
    }
}

void Module::startSearch(CK_SESSION_HANDLE handle, const Attributes& wanted) {
    Session& session = openedSession(handle);
    demand(!session.search, CKR_OPERATION_ACTIVE);
    const ObjectStore store(folder_, tokenOf(session));
    std::vector<CK_OBJECT_HANDLE> found;
    const auto consider = [&](CK_OBJECT_HANDLE object, const SharedAttributes& attributes) {
        if (attributes && visible(session, *attributes) && attributes->contain(wanted)) found.push_back(object);
    };
    for (const CK_OBJECT_HANDLE object : store.handles()) consider(object, store.load(object));
    for (const auto& [object, kept] : sessionObjects_) {
        if (kept.slot == session.slot) consider(object, kept.attributes);
    }
    session.search.emplace(found.rbegin(), found.rend());
}

std::vector<CK_OBJECT_HANDLE> Module::continueSearch(CK_SESSION_HANDLE handle, CK_ULONG most) {
    auto& search = openedSession(handle).search;
    demand(search.has_value(), CKR_OPERATION_NOT_INITIALIZED);
    const auto size = static_cast<std::ptrdiff_t>(std::min<std::size_t>(most, search->size()));
    std::vector<CK_OBJECT_HANDLE> found(search->rbegin(), search->rbegin() + size);
    search->erase(search->end() - size, search->end());
    return found;
}

void Module::endSearch(CK_SESSION_HANDLE handle) {
    auto& search = openedSession(handle).search;
    demand(search.has_value(), CKR_OPERATION_NOT_INITIALIZED);
    search.reset();
}

void Module::demandRoom(const Session& session, const Attributes& object) const {
    const TokenTraits traits = readTraits(folder_, tokenOf(session));
    const std::string* value = object.find(CKA_VALUE);
    const bool certificate = object.number(CKA_CLASS) == CKO_CERTIFICATE;
    demand(!traits.noSecretKeys || object.number(CKA_CLASS) != CKO_SECRET_KEY, CKR_TEMPLATE_INCONSISTENT);
    if (certificate && value && traits.largestCertificate) {
        demand(value->size() <= *traits.largestCertificate, CKR_ATTRIBUTE_VALUE_INVALID);
    }
    const std::size_t kept = ObjectStore(folder_, tokenOf(session)).handles().size();
    demand(!traits.capacity || kept < *traits.capacity, CKR_DEVICE_MEMORY);
}

bool Module::visible(const Session& session, const Attributes& object) const {
    return !object.isTrue(CKA_PRIVATE) || loggedIn(session.slot) == CKU_USER;
}

} // namespace panelkit::testing
