#include "store/dead_runs.h"

#include "platform/data_file.h"

namespace store {
namespace {

Status EndRunIfGone(Catalog& catalog, Place& place, const Run& run, DeadRuns& dead) {
  bool gone = false;
  if (Status asked = place.IsRunGone(run.uid, gone); !asked || !gone) {
    return asked;
  }
  if (Status ended = catalog.EndRun(run.uid, Mover::kEndedFailed); !ended) {
    return ended;
  }
  ++dead.runs;
  // Last of all, since the run is found gone by it.
  return place.Delete(RunObject(run.uid));
}

Status CloseSessionIfGone(Catalog& catalog, const Session& session, DeadRuns& dead) {
  const Process& owner = session.owner;
  if (platform::IsRunning({owner.host, static_cast<int>(owner.number), owner.started}) !=
      platform::Running::kNo) {
    return {};
  }
  ++dead.sessions;
  return catalog.CloseSession(session.id, State::kFailed);
}

}  // namespace

Status EndDeadRuns(Catalog& catalog, Place& place, DeadRuns& dead) {
  std::vector<Run> runs;
  if (Status listed = catalog.ListRuns(runs); !listed) {
    return listed;
  }
  for (const Run& run : runs) {
    if (Status ended = EndRunIfGone(catalog, place, run, dead); !ended) {
      return ended;
    }
  }
  std::vector<Session> sessions;
  if (Status listed = catalog.ListOwnedSessions(platform::HostName(), sessions); !listed) {
    return listed;
  }
  for (const Session& session : sessions) {
    if (Status closed = CloseSessionIfGone(catalog, session, dead); !closed) {
      return closed;
    }
  }
  return {};
}

}  // namespace store
