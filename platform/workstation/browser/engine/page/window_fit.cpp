#include "workstation/browser/engine/page/window_fit.h"

#include <utility>

namespace workstation {
namespace {

void growWindow(const std::shared_ptr<CdpConnection>& connection, const std::string& target,
                int missingWidth, int missingHeight, std::function<void()> done) {
  connection->call(
      "", "Browser.getWindowForTarget", JsonObject().add("targetId", target),
      [connection, missingWidth, missingHeight, done = std::move(done)](const CdpReply& window) {
        if (!window.ok) return done();
        const JsonValue& bounds = jsonMember(window.result, "bounds");
        const std::string fitting = JsonObject()
                                        .add("width", jsonInt(bounds, "width", 0) + missingWidth)
                                        .add("height", jsonInt(bounds, "height", 0) + missingHeight)
                                        .text();
        connection->call("", "Browser.setWindowBounds",
                         JsonObject()
                             .add("windowId", jsonInt(window.result, "windowId", 0))
                             .addRaw("bounds", fitting),
                         [done](const CdpReply&) { done(); });
      });
}

}  // namespace

void fitWindow(const std::shared_ptr<CdpConnection>& connection, const std::string& session,
               const std::string& target, const WindowShape& shape, std::function<void()> done) {
  connection->call(session, "Page.getLayoutMetrics", JsonObject(),
                   [connection, target, shape, done = std::move(done)](const CdpReply& metrics) {
                     const JsonValue& viewport = jsonMember(metrics.result, "cssLayoutViewport");
                     const int width = jsonInt(viewport, "clientWidth", 0);
                     const int height = jsonInt(viewport, "clientHeight", 0);
                     const int missingWidth = shape.width - width;
                     const int missingHeight = shape.height - height;
                     const bool isLaidOut = metrics.ok && width > 0 && height > 0;
                     if (!isLaidOut || (missingWidth == 0 && missingHeight == 0)) return done();
                     growWindow(connection, target, missingWidth, missingHeight, done);
                   });
}

}  // namespace workstation
