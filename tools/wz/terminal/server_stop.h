/// Ends a CivetWeb server without the wait of up to two seconds that it would otherwise take to see
/// that it is to end.
#ifndef WZ_TERMINAL_SERVER_STOP_H
#define WZ_TERMINAL_SERVER_STOP_H

struct mg_context;

namespace wz {

/// mg_stop() for a server on `port` of the loopback interface.
void stopServer(mg_context* context, int port);

}  // namespace wz

#endif  // WZ_TERMINAL_SERVER_STOP_H
