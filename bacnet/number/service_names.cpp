#include "bacnet/number/names.h"

namespace bacnet {
namespace {

constexpr NumberName kConfirmedServices[] = {
    {0, "acknowledge-alarm"},
    {1, "confirmed-cov-notification"},
    {2, "confirmed-event-notification"},
    {3, "get-alarm-summary"},
    {4, "get-enrollment-summary"},
    {5, "subscribe-cov"},
    {6, "atomic-read-file"},
    {7, "atomic-write-file"},
    {8, "add-list-element"},
    {9, "remove-list-element"},
    {10, "create-object"},
    {11, "delete-object"},
    {12, "read-property"},
    {13, "read-property-conditional"},
    {14, "read-property-multiple"},
    {15, "write-property"},
    {16, "write-property-multiple"},
    {17, "device-communication-control"},
    {18, "confirmed-private-transfer"},
    {19, "confirmed-text-message"},
    {20, "reinitialize-device"},
    {21, "vt-open"},
    {22, "vt-close"},
    {23, "vt-data"},
    {24, "authenticate"},
    {25, "request-key"},
    {26, "read-range"},
    {27, "life-safety-operation"},
    {28, "subscribe-cov-property"},
    {29, "get-event-information"},
    {30, "subscribe-cov-property-multiple"},
    {31, "confirmed-cov-notification-multiple"},
    {32, "confirmed-audit-notification"},
    {33, "audit-log-query"},
};

constexpr NumberName kUnconfirmedServices[] = {
    {0, "i-am"},
    {1, "i-have"},
    {2, "unconfirmed-cov-notification"},
    {3, "unconfirmed-event-notification"},
    {4, "unconfirmed-private-transfer"},
    {5, "unconfirmed-text-message"},
    {6, "time-synchronization"},
    {7, "who-has"},
    {8, "who-is"},
    {9, "utc-time-synchronization"},
    {10, "write-group"},
    {11, "unconfirmed-cov-notification-multiple"},
    {12, "unconfirmed-audit-notification"},
    {13, "who-am-i"},
    {14, "you-are"},
};

}  // namespace

const CNameTable kConfirmedServiceNames(kConfirmedServices);
const CNameTable kUnconfirmedServiceNames(kUnconfirmedServices);

}  // namespace bacnet
