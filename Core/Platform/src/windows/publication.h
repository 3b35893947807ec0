// A window of this process made visible to other processes: its record in the station and a
// listening socket whose requests run on the window's thread inside its GetMessageW.
//
// One listener thread per process accepts on every published window's socket; each accepted
// connection (one per sending process) gets a thread that reads a request, hands it to the
// window's thread, waits, and writes the reply.
#pragma once

#include "windows/record.h"

#include <memory>

namespace bvplatform::detail {

class Publication {
public:
    /// Publishes a window: the socket listens before the record appears. Null when the station
    /// is refused or the files cannot be made (the window then stays private to this process).
    static std::shared_ptr<Publication> Start(WindowRecord record);

    struct Server; // the listening side, shared with the listener and connection threads

    Publication(std::shared_ptr<const StationDir> station, std::shared_ptr<Server> server,
                std::string owner);
    ~Publication();
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;

    /// Rewrites the record (the owner token is kept).
    void Update(WindowRecord record);

    /// Removes the record and the socket and ends the connections; a request being handled
    /// still gets its reply.
    void Withdraw();

private:
    const std::shared_ptr<const StationDir> m_station; // where the files are
    const std::shared_ptr<Server> m_server;            // the socket and its connections
    const std::string m_owner;                         // this process's token in the station
};

} // namespace bvplatform::detail
