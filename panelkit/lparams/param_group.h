// SPDX-License-Identifier: MIT
//
// ParamGroup: a section of the service's configuration. Its parameters are in the order of the wire, which is also the
// order for display. The constructor sets every parameter to its default, load() reads the values from the service,
// save() writes them back when they changed, and writeToDisk() makes saved values permanent.
//
//   LPARAMS::Client::IKE ike;
//   if (!ike.load()) return false;            // bridge::lastFailure() says why
//   ike.EXCHANGE_TIMEOUT.value = 90;
//   return ike.save() && LPARAMS::Client::writeToDisk();
//
// Only one thread at a time may use a group. Functions that talk to the service are for the front end's one thread, as
// the session pool is.
#pragma once

#include <panelkit/lparams/param.h>

#include <string>
#include <vector>

namespace LPARAMS::Client {

class Constraint;

// The vectors point at data members of the section, so a group is neither copied nor moved.
class PANELKIT_EXPORT ParamGroup {
public:
    virtual ~ParamGroup(); // wipes the snapshot, which may hold secrets
    ParamGroup(const ParamGroup&) = delete;
    ParamGroup& operator=(const ParamGroup&) = delete;

    // Reads all values from the service and takes the snapshot. Returns false, with the values unchanged, when the
    // service could not be reached or refused. Throws "CommandStreamError" when the reply ends early: parameters before
    // the fault then have their new values.
    bool load();

    // Writes all values to the service, unless they equal the snapshot: then it sends nothing. Returns true when the
    // service has the values. A group that was never loaded, or was loaded twice, always writes.
    bool save() const;

    // Reads the values from a body, encodes them again and appends name and body to the snapshot.
    void load(CommandStreamIn& in);

    // Appends the body: every value in order.
    void save(CommandStreamOut& out) const;

    std::string snapshot;                 // the write request for the values as they were loaded
    std::vector<Param*> params;           // not owned; stream and display order
    const char* name;                     // of the section: "IKE"
    std::vector<Param*> others;           // not owned; every group leaves it empty
    std::vector<Constraint*> constraints; // not owned

protected:
    explicit ParamGroup(const char* section);
};

// A check across the parameters of a group. Front ends check the constraints of a group before they save it.
class PANELKIT_EXPORT Constraint {
public:
    Constraint(const Constraint&) = delete;
    Constraint& operator=(const Constraint&) = delete;

    // Whether the group's present values break it.
    virtual bool violated() const = 0;

    std::string message; // what to show when it is violated

protected:
    explicit Constraint(ParamGroup& owner); // appends itself to the group's constraints
    ~Constraint() = default;                // never destroyed through this class, since it is a member of its group

    ParamGroup* group;
};

// A check of the group G.
template <class G>
class Error : public Constraint {
public:
    explicit Error(G& owner) : Constraint(owner) {}

protected:
    ~Error() = default;
    const G& owner() const { return static_cast<const G&>(*group); }
};

// Makes the service store all saved values permanently. Call it once, after all groups were saved.
PANELKIT_EXPORT bool writeToDisk();

// Whether anything was written to the service while it lives:
//
//   TraceChanges_t changes;
//   saveAllGroups();
//   if (changes.changed) writeToDisk();
//
// There is one current tracker in the process. A new one replaces it. When the current one is destroyed there is none:
// an earlier tracker does not become current again. Only for one thread.
class PANELKIT_EXPORT TraceChanges_t {
public:
    TraceChanges_t();
    ~TraceChanges_t();
    TraceChanges_t(const TraceChanges_t&) = delete;
    TraceChanges_t& operator=(const TraceChanges_t&) = delete;

    bool changed = false;
};

// Marks the current tracker changed, if there is one: for changes that a front end made in another way.
PANELKIT_EXPORT void traceChange();

} // namespace LPARAMS::Client
