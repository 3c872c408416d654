// SPDX-License-Identifier: MIT
//
// Protocol Buffers against the plain codec: from bytes to the records of a program, and back.
#include <bench/plain_codec.h>

#include <listing.pb.h>

namespace {

using bench::peer::Entry;

void fill(Entry& message, const bench::Entry& entry) {
    message.set_slot_id(entry.token.slotId);
    message.set_text1(entry.token.text1);
    message.set_text2(entry.token.text2);
    message.set_text3(entry.token.text3);
    message.set_text4(entry.token.text4);
    message.set_token_flags(entry.token.flags);
    message.set_subject(entry.certificate.subject);
    message.set_issuer(entry.certificate.issuer);
    message.set_serial_number(entry.certificate.serialNumber);
    message.set_fingerprint(entry.certificate.fingerprint);
    message.set_not_before(entry.certificate.notBefore);
    message.set_not_after(entry.certificate.notAfter);
    message.set_key_type(static_cast<std::uint32_t>(entry.certificate.keyType));
    message.set_key_bits(entry.certificate.keyBits);
    message.set_has_private_key(entry.certificate.hasPrivateKey);
    message.set_state(static_cast<std::uint32_t>(entry.certificate.state));
    message.set_key_usage(entry.certificate.keyUsage);
    message.set_flags(entry.certificate.flags);
}

template <class T>
void setNumber(T& to, auto value) {
    to = static_cast<T>(value);
}

void fill(bench::Entry& entry, const Entry& message) {
    setNumber(entry.token.slotId, message.slot_id());
    entry.token.text1 = message.text1();
    entry.token.text2 = message.text2();
    entry.token.text3 = message.text3();
    entry.token.text4 = message.text4();
    setNumber(entry.token.flags, message.token_flags());
    entry.certificate.subject = message.subject();
    entry.certificate.issuer = message.issuer();
    entry.certificate.serialNumber = message.serial_number();
    entry.certificate.fingerprint = message.fingerprint();
    setNumber(entry.certificate.notBefore, message.not_before());
    setNumber(entry.certificate.notAfter, message.not_after());
    setNumber(entry.certificate.keyType, message.key_type());
    setNumber(entry.certificate.keyBits, message.key_bits());
    entry.certificate.hasPrivateKey = message.has_private_key();
    setNumber(entry.certificate.state, message.state());
    setNumber(entry.certificate.keyUsage, message.key_usage());
    setNumber(entry.certificate.flags, message.flags());
}

void decode(const std::string& bytes, bench::Listing& listing) {
    bench::peer::Listing message;
    if (!message.ParseFromString(bytes)) std::abort();
    listing.resize(static_cast<std::size_t>(message.entries_size()));
    for (std::size_t i = 0; i < listing.size(); ++i) fill(listing[i], message.entries(static_cast<int>(i)));
}

void encode(const bench::Listing& listing, std::string& bytes) {
    bench::peer::Listing message;
    for (const bench::Entry& entry : listing) fill(*message.add_entries(), entry);
    if (!message.SerializeToString(&bytes)) std::abort();
}

} // namespace

int main() {
    bench::keepTheHeap();
    for (const std::size_t count : {10U, 1'000U, 100'000U}) {
        bench::compareCodec<decode, encode>("Protocol Buffers: ", count);
    }
    return 0;
}
