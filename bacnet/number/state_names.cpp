#include "bacnet/number/names.h"

namespace bacnet {
namespace {

constexpr NumberName kDeviceStatuses[] = {
    {0, "operational"},          {1, "operational-read-only"}, {2, "download-required"},
    {3, "download-in-progress"}, {4, "non-operational"},       {5, "backup-in-progress"},
};

constexpr NumberName kEventStates[] = {
    {0, "normal"}, {1, "fault"}, {2, "offnormal"}, {3, "high-limit"}, {4, "low-limit"}, {5, "life-safety-alarm"},
};

constexpr NumberName kReliabilities[] = {
    {0, "no-fault-detected"},
    {1, "no-sensor"},
    {2, "over-range"},
    {3, "under-range"},
    {4, "open-loop"},
    {5, "shorted-loop"},
    {6, "no-output"},
    {7, "unreliable-other"},
    {8, "process-error"},
    {9, "multi-state-fault"},
    {10, "configuration-error"},
    {12, "communication-failure"},
    {13, "member-fault"},
    {14, "monitored-object-fault"},
    {15, "tripped"},
    {16, "lamp-failure"},
    {17, "activation-failure"},
    {18, "renew-dhcp-failure"},
    {19, "renew-fd-registration-failure"},
    {20, "restart-auto-negotiation-failure"},
    {21, "restart-failure"},
    {22, "proprietary-command-failure"},
    {23, "faults-listed"},
    {24, "referenced-object-fault"},
};

constexpr NumberName kSegmentations[] = {
    {0, "segmented-both"},
    {1, "segmented-transmit"},
    {2, "segmented-receive"},
    {3, "no-segmentation"},
};

}  // namespace

const CNameTable kDeviceStatusNames(kDeviceStatuses);
const CNameTable kEventStateNames(kEventStates);
const CNameTable kReliabilityNames(kReliabilities);
const CNameTable kSegmentationNames(kSegmentations);

}  // namespace bacnet
