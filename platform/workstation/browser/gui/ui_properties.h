/// The properties that hosts set before they open a page.
#ifndef WORKSTATION_BROWSER_GUI_UI_PROPERTIES_H
#define WORKSTATION_BROWSER_GUI_UI_PROPERTIES_H

#include <string>

namespace workstation {

/// The numbers that mean something to the workstation; all others are kept and not looked at.
enum UIProperty {
  kResourceDir = 2003,
  kDefaultDir = 2007,
  kApplicationDir = 2010,
  kFileSystemDir = 2012,
  kPrintDir = 2013,
  kFileSystemRootDir = 2015,
};

/// From here on what the calling thread sets is its own, beginning with nothing; false drops it.
void useLocalProperties(bool local);

/// Sets a property of a display for everybody, or for the calling thread where it has its own.
void setProperty(int display, int property, const std::string& value);

/// The calling thread's own value, else everybody's, else the empty string.
std::string propertyValue(int display, int property);

}  // namespace workstation

#endif  // WORKSTATION_BROWSER_GUI_UI_PROPERTIES_H
