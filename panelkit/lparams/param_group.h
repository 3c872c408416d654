// SPDX-License-Identifier: MIT
//
// ParamGroup: a section of the service's configuration, with its parameters in the order of the wire and of the front
// ends. Building one fills every parameter with its default; load() takes the values from the service, save() hands
// them back when they changed, writeToDisk() makes what was saved permanent.
//
//   LPARAMS::Client::IKE ike;
//   if (!ike.load()) return false;            // bridge::lastFailure() says why
//   ike.EXCHANGE_TIMEOUT.value = 90;
//   return ike.save() && LPARAMS::Client::writeToDisk();
//
// One thread uses a group at a time. What talks to the service belongs, with the session pool, to the front end's one
// thread.
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

    // Reads all values from the service and takes the snapshot. False, with the values as they were, when the service
    // could not be reached or refused. Throws "CommandStreamError" when the reply ends early: parameters before the
    // fault then have their new values.
    bool load();

    // Writes all values to the service, unless they are what the snapshot holds: then it sends nothing. True when the
    // service has them. A group that was never loaded always writes, and so does one that was loaded twice.
    bool save() const;

    // Reads the values from a body and appends name and body, encoded anew, to the snapshot.
    void load(CommandStreamIn& in);

    // Appends the body: every value in order.
    void save(CommandStreamOut& out) const;

    std::string snapshot;                 // the write request that would say what was loaded
    std::vector<Param*> params;           // not owned; stream and display order
    const char* name;                     // of the section: "IKE"
    std::vector<Param*> others;           // not owned; every group leaves it empty
    std::vector<Constraint*> constraints; // not owned

protected:
    explicit ParamGroup(const char* section);
};

// A check across the parameters of a group. Front ends evaluate the constraints of a group before they save it.
class PANELKIT_EXPORT Constraint {
public:
    Constraint(const Constraint&) = delete;
    Constraint& operator=(const Constraint&) = delete;

    // Whether the group's present values break it.
    virtual bool violated() const = 0;

    std::string message; // what to show when it is violated

protected:
    explicit Constraint(ParamGroup& owner); // appends itself to the group's constraints
    ~Constraint() = default;                // never destroyed through this class: it is a member of its group

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

// Asks the service to make permanent what was saved. Front ends call it once, after they saved all groups.
PANELKIT_EXPORT bool writeToDisk();

// Whether anything was written to the service while it lives:
//
//   TraceChanges_t changes;
//   saveAllGroups();
//   if (changes.changed) writeToDisk();
//
// There is one current tracker in the process. A new one takes the place of any other, and when it ends there is none:
// the one before does not come back. Not for two threads.
class PANELKIT_EXPORT TraceChanges_t {
public:
    TraceChanges_t();
    ~TraceChanges_t();
    TraceChanges_t(const TraceChanges_t&) = delete;
    TraceChanges_t& operator=(const TraceChanges_t&) = delete;

    bool changed = false;
};

// Marks the current tracker changed, if there is one: for changes that a front end made by other means.
PANELKIT_EXPORT void traceChange();

} // namespace LPARAMS::Client
