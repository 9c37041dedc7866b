-- The store has an identity: programs notice when its numbers are given again.
ALTER TABLE Store_Info ADD COLUMN IF NOT EXISTS Store_Identity VARCHAR(64) NOT NULL DEFAULT '';
UPDATE Store_Info SET Store_Identity = UUID() WHERE Store_Identity = '';
-- Receivers say what they lost and how full their disk is.
ALTER TABLE Receiver_Heartbeat ADD COLUMN IF NOT EXISTS Dropped INTEGER NOT NULL DEFAULT 0;
ALTER TABLE Receiver_Heartbeat ADD COLUMN IF NOT EXISTS Dropped_Since INTEGER NOT NULL DEFAULT 0;
ALTER TABLE Receiver_Heartbeat ADD COLUMN IF NOT EXISTS Disk_Used INTEGER NOT NULL DEFAULT 0;
-- Receivers that get the same traps agree on who stores them.
CREATE TABLE IF NOT EXISTS Receiver_Duty (
  Group_Name     VARCHAR(255) NOT NULL PRIMARY KEY,
  Holder         VARCHAR(255) NOT NULL DEFAULT '',
  Machine        VARCHAR(255) NOT NULL DEFAULT '',
  Term           INTEGER NOT NULL DEFAULT 0,
  Beat           INTEGER NOT NULL DEFAULT 0,
  Additions      INTEGER NOT NULL DEFAULT 0,
  Stored_Through INTEGER NOT NULL DEFAULT 0,
  Stored_Number  INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- The index over the sources leaves out what is acknowledged, which makes storing and deleting cheaper.
ALTER TABLE EventTrap DROP INDEX IF EXISTS EventTrap_Source_Ack_Time, ADD COLUMN IF NOT EXISTS
  Unacknowledged_Source VARCHAR(255) AS (CASE WHEN EventAck = 0 THEN Source END) STORED INVISIBLE,
  ADD INDEX IF NOT EXISTS EventTrap_Source_Time (Unacknowledged_Source, EventTime);
-- "No action" has the number 1, also where the store was made through a node that counts from another one.
  -- No automatic number below it was or will be given, so 1 is free.
UPDATE Trap_Notification_Master SET Beep_ID = 1 WHERE Beep_ID =
  (SELECT MIN(Beep_ID) FROM Beep_Detail WHERE Beep_Count = -1 AND Duration = -1 AND Delay = -1 AND Frequency = -1)
  AND NOT EXISTS (SELECT 1 FROM Beep_Detail WHERE Beep_ID = 1);
UPDATE Beep_Detail SET Beep_ID = 1 WHERE Beep_ID =
  (SELECT MIN(Beep_ID) FROM Beep_Detail WHERE Beep_Count = -1 AND Duration = -1 AND Delay = -1 AND Frequency = -1)
  AND NOT EXISTS (SELECT 1 FROM Beep_Detail WHERE Beep_ID = 1);
UPDATE Trap_Notification_Master SET Email_ID = 1 WHERE Email_ID =
  (SELECT MIN(Email_ID) FROM Email_Detail WHERE Smtp_Server = '' AND Email_To = '' AND Email_From = '' AND Subject = '')
  AND NOT EXISTS (SELECT 1 FROM Email_Detail WHERE Email_ID = 1);
UPDATE Email_Detail SET Email_ID = 1 WHERE Email_ID =
  (SELECT MIN(Email_ID) FROM Email_Detail WHERE Smtp_Server = '' AND Email_To = '' AND Email_From = '' AND Subject = '')
  AND NOT EXISTS (SELECT 1 FROM Email_Detail WHERE Email_ID = 1);
UPDATE Trap_Notification_Master SET Message_ID = 1 WHERE Message_ID =
  (SELECT MIN(Message_ID) FROM Message_Detail WHERE Destination = '')
  AND NOT EXISTS (SELECT 1 FROM Message_Detail WHERE Message_ID = 1);
UPDATE Message_Detail SET Message_ID = 1 WHERE Message_ID =
  (SELECT MIN(Message_ID) FROM Message_Detail WHERE Destination = '')
  AND NOT EXISTS (SELECT 1 FROM Message_Detail WHERE Message_ID = 1);
UPDATE Trap_Notification_Master SET Custom_ID = 1 WHERE Custom_ID =
  (SELECT MIN(Custom_Action_ID) FROM Custom_Action_Detail WHERE Custom_Action_File = '')
  AND NOT EXISTS (SELECT 1 FROM Custom_Action_Detail WHERE Custom_Action_ID = 1);
UPDATE Custom_Action_Detail SET Custom_Action_ID = 1 WHERE Custom_Action_ID =
  (SELECT MIN(Custom_Action_ID) FROM Custom_Action_Detail WHERE Custom_Action_File = '')
  AND NOT EXISTS (SELECT 1 FROM Custom_Action_Detail WHERE Custom_Action_ID = 1);
