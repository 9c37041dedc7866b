// The tables of the trap store.  Those of the last group belong to sibling products that share the database.
#pragma once

#include <cstdint>
#include <string_view>

namespace korvane::store {

// What the tables are like and mean; Store_Info says which version a store is of.  install/schema makes this
// one, install/make-store --upgrade brings an older store to it.
inline constexpr std::int32_t kStoreVersion = 3;
inline constexpr std::string_view kStoreInfo = "Store_Info";

inline constexpr std::string_view kEventTrap = "EventTrap";
inline constexpr std::string_view kChangeLog = "Change_Log";
inline constexpr std::string_view kReceiverHeartbeat = "Receiver_Heartbeat";
inline constexpr std::string_view kEventStructure = "EventStructure";
inline constexpr std::string_view kSystemTable = "System_Table";
inline constexpr std::string_view kModuleTable = "Module_Table";
inline constexpr std::string_view kCategoryGroupMaster = "Category_Group_Master";
inline constexpr std::string_view kCategoryGroup = "Category_Group";
inline constexpr std::string_view kCategoryNumber = "Category_Number";
inline constexpr std::string_view kCategoryGroupDetail = "Category_Group_Detail";
inline constexpr std::string_view kCategoryRelationMaster = "Category_Relation_Master";
inline constexpr std::string_view kTrapGroupMaster = "Trap_Group_Master";
inline constexpr std::string_view kTrapGroup = "Trap_Group";
inline constexpr std::string_view kTrapGroupDetail = "Trap_Group_Detail";
inline constexpr std::string_view kFileGroupMaster = "File_Group_Master";
inline constexpr std::string_view kFileGroup = "File_Group";
inline constexpr std::string_view kRegistryGroupMaster = "Registry_Group_Master";
inline constexpr std::string_view kRegistryGroup = "Registry_Group";
inline constexpr std::string_view kEventGroupMaster = "Event_Group_Master";
inline constexpr std::string_view kEventGroup = "Event_Group";
inline constexpr std::string_view kTrapFilterGroup = "Trap_Filter_Group";
inline constexpr std::string_view kTrapDetail = "Trap_Detail";
inline constexpr std::string_view kTrapNotificationMaster = "Trap_Notification_Master";
inline constexpr std::string_view kTrapActionGroup = "Trap_Action_Group";
inline constexpr std::string_view kAlertOff = "Alert_Off";
inline constexpr std::string_view kAlertState = "Alert_State";
inline constexpr std::string_view kAlertTest = "Alert_Test";
inline constexpr std::string_view kBeepDetail = "Beep_Detail";
inline constexpr std::string_view kEmailDetail = "Email_Detail";
inline constexpr std::string_view kMessageDetail = "Message_Detail";
inline constexpr std::string_view kCustomActionDetail = "Custom_Action_Detail";

// Keys of the four action tables.  Row 1 of each means no action, so an action is in use when its ID is
// above.
inline constexpr std::int32_t kNoAction = 1;

inline constexpr std::string_view kSharedOnly[] = {
    "Macro_Detail",      "System_Group",          "System_Group_Detail", "System_Group_Master",
    "File_Group_Detail", "Registry_Group_Detail", "Events_Table",        "Notification_Master",
    "Event_Detail",      "Events_Action_Group",   "Event_Group_Detail",  "Events_Filter_Group"};

}  // namespace korvane::store
