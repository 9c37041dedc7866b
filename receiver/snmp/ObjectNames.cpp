#include "receiver/snmp/ObjectNames.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

#include "receiver/snmp/ValueText.h"

namespace korvane::receiver {
namespace {

constexpr std::size_t kLongest = 12;

struct ObjectName {
  constexpr ObjectName(std::initializer_list<std::uint32_t> numbers, std::string_view name)
      : Length(numbers.size()), Name(name) {
    std::copy(numbers.begin(), numbers.end(), Numbers.begin());
  }
  std::array<std::uint32_t, kLongest> Numbers{};
  std::size_t Length;
  std::string_view Name;
};

// Columns and scalars, ascending by OID; none begins with another, so one step of a binary search finds the
// only candidate.
constexpr std::array kObjects = {
    ObjectName{{1, 0, 8802, 1, 1, 2, 1, 2, 2}, "lldpStatsRemTablesInserts"},
    ObjectName{{1, 0, 8802, 1, 1, 2, 1, 2, 3}, "lldpStatsRemTablesDeletes"},
    ObjectName{{1, 0, 8802, 1, 1, 2, 1, 2, 4}, "lldpStatsRemTablesDrops"},
    ObjectName{{1, 0, 8802, 1, 1, 2, 1, 2, 5}, "lldpStatsRemTablesAgeouts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 1}, "sysDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 2}, "sysObjectID"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 3}, "sysUpTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 4}, "sysContact"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 5}, "sysName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 6}, "sysLocation"},
    ObjectName{{1, 3, 6, 1, 2, 1, 1, 7}, "sysServices"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 1}, "ifNumber"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 1}, "ifIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 2}, "ifDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 3}, "ifType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 4}, "ifMtu"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 5}, "ifSpeed"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 6}, "ifPhysAddress"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 7}, "ifAdminStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 8}, "ifOperStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 9}, "ifLastChange"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 10}, "ifInOctets"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 11}, "ifInUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 12}, "ifInNUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 13}, "ifInDiscards"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 14}, "ifInErrors"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 15}, "ifInUnknownProtos"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 16}, "ifOutOctets"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 17}, "ifOutUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 18}, "ifOutNUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 19}, "ifOutDiscards"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 20}, "ifOutErrors"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 21}, "ifOutQLen"},
    ObjectName{{1, 3, 6, 1, 2, 1, 2, 2, 1, 22}, "ifSpecific"},
    ObjectName{{1, 3, 6, 1, 2, 1, 8, 5, 1, 1}, "egpNeighState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 8, 5, 1, 2}, "egpNeighAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 8, 5, 1, 3}, "egpNeighAs"},
    ObjectName{{1, 3, 6, 1, 2, 1, 10, 18, 6, 1, 10}, "dsx1LineStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 10, 18, 6, 1, 16}, "dsx1LineStatusLastChange"},
    ObjectName{{1, 3, 6, 1, 2, 1, 10, 32, 2, 1, 1}, "frCircuitIfIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 10, 32, 2, 1, 2}, "frCircuitDlci"},
    ObjectName{{1, 3, 6, 1, 2, 1, 10, 32, 2, 1, 3}, "frCircuitState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 1, 1}, "ospfRouterId"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 7, 1, 1}, "ospfIfIpAddress"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 7, 1, 2}, "ospfAddressLessIf"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 7, 1, 12}, "ospfIfState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 10, 1, 1}, "ospfNbrIpAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 10, 1, 2}, "ospfNbrAddressLessIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 10, 1, 3}, "ospfNbrRtrId"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 10, 1, 6}, "ospfNbrState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 16, 1, 1}, "ospfSetTrap"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 16, 1, 2}, "ospfConfigErrorType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 16, 1, 3}, "ospfPacketType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 14, 16, 1, 4}, "ospfPacketSrc"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 1}, "bgpPeerIdentifier"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 2}, "bgpPeerState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 3}, "bgpPeerAdminStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 4}, "bgpPeerNegotiatedVersion"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 5}, "bgpPeerLocalAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 6}, "bgpPeerLocalPort"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 7}, "bgpPeerRemoteAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 8}, "bgpPeerRemotePort"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 9}, "bgpPeerRemoteAs"},
    ObjectName{{1, 3, 6, 1, 2, 1, 15, 3, 1, 14}, "bgpPeerLastError"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 1}, "alarmIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 2}, "alarmInterval"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 3}, "alarmVariable"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 4}, "alarmSampleType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 5}, "alarmValue"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 6}, "alarmStartupAlarm"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 7}, "alarmRisingThreshold"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 8}, "alarmFallingThreshold"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 9}, "alarmRisingEventIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 3, 1, 1, 10}, "alarmFallingEventIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 9, 1, 1, 1}, "eventIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 16, 9, 1, 1, 2}, "eventDescription"},
    ObjectName{{1, 3, 6, 1, 2, 1, 17, 1, 1}, "dot1dBaseBridgeAddress"},
    ObjectName{{1, 3, 6, 1, 2, 1, 17, 1, 4, 1, 1}, "dot1dBasePort"},
    ObjectName{{1, 3, 6, 1, 2, 1, 17, 1, 4, 1, 2}, "dot1dBasePortIfIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 17, 2, 15, 1, 1}, "dot1dStpPort"},
    ObjectName{{1, 3, 6, 1, 2, 1, 17, 2, 15, 1, 3}, "dot1dStpPortState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 1, 1}, "hrSystemUptime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 1}, "hrStorageIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 2}, "hrStorageType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 3}, "hrStorageDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 4}, "hrStorageAllocationUnits"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 5}, "hrStorageSize"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 6}, "hrStorageUsed"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 1}, "hrDeviceIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 2}, "hrDeviceType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 3}, "hrDeviceDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 4}, "hrDeviceID"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 5}, "hrDeviceStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 6}, "hrDeviceErrors"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 1}, "hrPrinterStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 2}, "hrPrinterDetectedErrorState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 4, 2, 1, 1}, "hrSWRunIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 4, 2, 1, 2}, "hrSWRunName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 4, 2, 1, 4}, "hrSWRunPath"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 4, 2, 1, 5}, "hrSWRunParameters"},
    ObjectName{{1, 3, 6, 1, 2, 1, 25, 4, 2, 1, 7}, "hrSWRunStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 1}, "ifName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 6}, "ifHCInOctets"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 7}, "ifHCInUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 10}, "ifHCOutOctets"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 11}, "ifHCOutUcastPkts"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 14}, "ifLinkUpDownTrapEnable"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 15}, "ifHighSpeed"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 17}, "ifConnectorPresent"},
    ObjectName{{1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 18}, "ifAlias"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 1}, "upsBatteryStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 2}, "upsSecondsOnBattery"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 3}, "upsEstimatedMinutesRemaining"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 4}, "upsEstimatedChargeRemaining"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 5}, "upsBatteryVoltage"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 6}, "upsBatteryCurrent"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 2, 7}, "upsBatteryTemperature"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 4, 1}, "upsOutputSource"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 6, 1}, "upsAlarmsPresent"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 6, 2, 1, 1}, "upsAlarmId"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 6, 2, 1, 2}, "upsAlarmDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 6, 2, 1, 3}, "upsAlarmTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 7, 1}, "upsTestId"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 7, 3}, "upsTestResultsSummary"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 7, 4}, "upsTestResultsDetail"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 7, 5}, "upsTestStartTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 7, 6}, "upsTestElapsedTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 33, 1, 9, 7}, "upsConfigLowBattTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 1}, "prtAlertIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 2}, "prtAlertSeverityLevel"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 3}, "prtAlertTrainingLevel"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 4}, "prtAlertGroup"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 5}, "prtAlertGroupIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 6}, "prtAlertLocation"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 7}, "prtAlertCode"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 8}, "prtAlertDescription"},
    ObjectName{{1, 3, 6, 1, 2, 1, 43, 18, 1, 1, 9}, "prtAlertTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 1}, "entPhysicalIndex"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 2}, "entPhysicalDescr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 3}, "entPhysicalVendorType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 4}, "entPhysicalContainedIn"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 5}, "entPhysicalClass"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 6}, "entPhysicalParentRelPos"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 7}, "entPhysicalName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 8}, "entPhysicalHardwareRev"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 9}, "entPhysicalFirmwareRev"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 10}, "entPhysicalSoftwareRev"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 11}, "entPhysicalSerialNum"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 12}, "entPhysicalMfgName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 13}, "entPhysicalModelName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 14}, "entPhysicalAlias"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 15}, "entPhysicalAssetID"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 16}, "entPhysicalIsFRU"},
    ObjectName{{1, 3, 6, 1, 2, 1, 47, 1, 4, 1}, "entLastChangeTime"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 1}, "vrrpOperVrId"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 2}, "vrrpOperVirtualMacAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 3}, "vrrpOperState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 4}, "vrrpOperAdminState"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 5}, "vrrpOperPriority"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 6}, "vrrpOperIpAddrCount"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 7}, "vrrpOperMasterIpAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 3, 1, 8}, "vrrpOperPrimaryIpAddr"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 5}, "vrrpTrapPacketSrc"},
    ObjectName{{1, 3, 6, 1, 2, 1, 68, 1, 6}, "vrrpTrapAuthErrorType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 1}, "mteHotTrigger"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 2}, "mteHotTargetName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 3}, "mteHotContextName"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 4}, "mteHotOID"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 5}, "mteHotValue"},
    ObjectName{{1, 3, 6, 1, 2, 1, 88, 2, 1, 6}, "mteFailedReason"},
    ObjectName{{1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 1}, "entPhySensorType"},
    ObjectName{{1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 2}, "entPhySensorScale"},
    ObjectName{{1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 3}, "entPhySensorPrecision"},
    ObjectName{{1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 4}, "entPhySensorValue"},
    ObjectName{{1, 3, 6, 1, 2, 1, 99, 1, 1, 1, 5}, "entPhySensorOperStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 1, 1, 3}, "pethPsePortAdminEnable"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 1, 1, 6}, "pethPsePortDetectionStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 3, 1, 1, 2}, "pethMainPsePower"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 3, 1, 1, 3}, "pethMainPseOperStatus"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 3, 1, 1, 4}, "pethMainPseConsumptionPower"},
    ObjectName{{1, 3, 6, 1, 2, 1, 105, 1, 3, 1, 1, 5}, "pethMainPseUsageThreshold"},
    ObjectName{{1, 3, 6, 1, 6, 3, 1, 1, 4, 1}, "snmpTrapOID"},
    ObjectName{{1, 3, 6, 1, 6, 3, 1, 1, 4, 3}, "snmpTrapEnterprise"},
    ObjectName{{1, 3, 6, 1, 6, 3, 10, 2, 1, 1}, "snmpEngineID"},
    ObjectName{{1, 3, 6, 1, 6, 3, 10, 2, 1, 2}, "snmpEngineBoots"},
    ObjectName{{1, 3, 6, 1, 6, 3, 10, 2, 1, 3}, "snmpEngineTime"},
    ObjectName{{1, 3, 6, 1, 6, 3, 10, 2, 1, 4}, "snmpEngineMaxMessageSize"},
    ObjectName{{1, 3, 6, 1, 6, 3, 18, 1, 3}, "snmpTrapAddress"},
    ObjectName{{1, 3, 6, 1, 6, 3, 18, 1, 4}, "snmpTrapCommunity"},
};

bool Before(const Oid& name, const ObjectName& object) {
  const auto numbers = object.Numbers.begin();
  return std::lexicographical_compare(name.begin(), name.end(), numbers,
                                      numbers + static_cast<std::ptrdiff_t>(object.Length));
}

}  // namespace

std::string ObjectText(const Oid& name) {
  const auto after = std::upper_bound(kObjects.begin(), kObjects.end(), name, Before);
  if (after == kObjects.begin()) {
    return OidText(name);
  }
  const ObjectName& object = *std::prev(after);
  const auto length = static_cast<std::ptrdiff_t>(object.Length);
  if (name.size() < object.Length ||
      !std::equal(name.begin(), name.begin() + length, object.Numbers.begin())) {
    return OidText(name);
  }
  std::string text(object.Name);
  if (name.size() > object.Length) {
    text += '.';
    text += OidText(Oid(name.begin() + length, name.end()));
  }
  return text;
}

}  // namespace korvane::receiver
