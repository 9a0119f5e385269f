#include "bacnet/number/names.h"

namespace bacnet {
namespace {

constexpr NumberName kActions[] = {{0, "direct"}, {1, "reverse"}};
constexpr NumberName kBinaryStates[] = {{0, "inactive"}, {1, "active"}};
constexpr NumberName kNotifyTypes[] = {{0, "alarm"}, {1, "event"}, {2, "ack-notification"}};
constexpr NumberName kPolarities[] = {{0, "normal"}, {1, "reverse"}};

constexpr NumberName kLimits[] = {{0, "low-limit"}, {1, "high-limit"}};
constexpr NumberName kStatusFlags[] = {{0, "in-alarm"}, {1, "fault"}, {2, "overridden"}, {3, "out-of-service"}};
constexpr NumberName kTransitions[] = {{0, "to-offnormal"}, {1, "to-fault"}, {2, "to-normal"}};

constexpr NumberName kDeviceStatuses[] = {
    {0, "operational"},          {1, "operational-read-only"}, {2, "download-required"},
    {3, "download-in-progress"}, {4, "non-operational"},       {5, "backup-in-progress"},
};

constexpr NumberName kEventStates[] = {
    {0, "normal"}, {1, "fault"}, {2, "offnormal"}, {3, "high-limit"}, {4, "low-limit"}, {5, "life-safety-alarm"},
};

constexpr NumberName kLifeSafetyStates[] = {
    {0, "quiet"},
    {1, "pre-alarm"},
    {2, "alarm"},
    {3, "fault"},
    {4, "fault-pre-alarm"},
    {5, "fault-alarm"},
    {6, "not-ready"},
    {7, "active"},
    {8, "tamper"},
    {9, "test-alarm"},
    {10, "test-active"},
    {11, "test-fault"},
    {12, "test-fault-alarm"},
    {13, "holdup"},
    {14, "duress"},
    {15, "tamper-alarm"},
    {16, "abnormal"},
    {17, "emergency-power"},
    {18, "delayed"},
    {19, "blocked"},
    {20, "local-alarm"},
    {21, "general-alarm"},
    {22, "supervisory"},
    {23, "test-supervisory"},
    {24, "non-default-mode"},
    {25, "oeo-unavailable"},
    {26, "oeo-alarm"},
    {27, "oeo-phase1-recall"},
    {28, "oeo-evacuate"},
    {29, "oeo-unaffected"},
    {30, "test-oeo-unavailable"},
    {31, "test-oeo-alarm"},
    {32, "test-oeo-phase1-recall"},
    {33, "test-oeo-evacuate"},
    {34, "test-oeo-unaffected"},
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

const CNameTable kActionNames(kActions);
const CNameTable kBinaryStateNames(kBinaryStates);
const CNameTable kDeviceStatusNames(kDeviceStatuses);
const CNameTable kEventStateNames(kEventStates);
const CNameTable kLifeSafetyStateNames(kLifeSafetyStates);
const CNameTable kNotifyTypeNames(kNotifyTypes);
const CNameTable kPolarityNames(kPolarities);
const CNameTable kReliabilityNames(kReliabilities);
const CNameTable kSegmentationNames(kSegmentations);

const CNameTable kLimitNames(kLimits);
const CNameTable kStatusFlagNames(kStatusFlags);
const CNameTable kTransitionNames(kTransitions);

}  // namespace bacnet
