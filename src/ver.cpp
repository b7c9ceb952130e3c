// The version record.
#include "qorac.h"

namespace {

constexpr QorLibraryVersion kLibraryVersion = {
    .major = QORAC_VERSION_MAJOR,
    .minor = QORAC_VERSION_MINOR,
    .majorBuild = 137,
    .build = 799,
    .targetCpu = {'n', '8', '\0', '\0'},
    .name = "libqoracn8.so.6.1",
    .version = "6.1 build 137.56",
    .buildDate = "Mar 17 2010",
};

}  // namespace

const QorLibraryVersion* qoracGetLibVersion() { return &kLibraryVersion; }
