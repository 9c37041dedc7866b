-- The store says of which version it is.
CREATE TABLE IF NOT EXISTS Store_Info (
  Schema_Version INTEGER NOT NULL
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Store_Info SELECT 1 WHERE NOT EXISTS (SELECT * FROM Store_Info);

-- Every change of the store is noted, for the other consoles.
CREATE TABLE IF NOT EXISTS Change_Log (
  Change_ID   INTEGER AUTO_INCREMENT PRIMARY KEY,
  Change_Time INTEGER NOT NULL,
  Kind        INTEGER NOT NULL,
  Operator    VARCHAR(255) NOT NULL DEFAULT '',
  Machine     VARCHAR(255) NOT NULL DEFAULT '',
  Writer      VARCHAR(255) NOT NULL DEFAULT '',
  Source      VARCHAR(255),
  Upper_Time  INTEGER,
  Numbers     LONGTEXT NOT NULL DEFAULT '',
  Row_Count   INTEGER
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
CREATE INDEX IF NOT EXISTS Change_Log_Time ON Change_Log (Change_Time);
CREATE INDEX IF NOT EXISTS Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- Categories, their traps and the filters stand in an order that is written down.
ALTER TABLE Category_Group_Master ADD COLUMN IF NOT EXISTS Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
ALTER TABLE Trap_Group ADD COLUMN IF NOT EXISTS Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
ALTER TABLE Trap_Filter_Group ADD COLUMN IF NOT EXISTS Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
UPDATE Category_Group_Master SET Sort_Order = Row_ID WHERE Sort_Order = 2147483647;
UPDATE Trap_Group SET Sort_Order = Row_ID WHERE Sort_Order = 2147483647;
UPDATE Trap_Filter_Group SET Sort_Order = Row_ID WHERE Sort_Order = 2147483647;
CREATE INDEX IF NOT EXISTS Category_Group_Master_Order ON Category_Group_Master (Sort_Order, Category_Name);
CREATE INDEX IF NOT EXISTS Category_Group_ID ON Category_Group (Category_ID);
CREATE INDEX IF NOT EXISTS Trap_Group_Order ON Trap_Group (Trap_Group_Name, Sort_Order, Trap_ID);
CREATE INDEX IF NOT EXISTS Trap_Group_Detail_Values ON Trap_Group_Detail
  (Source_Agent(100), EnterpriseOid(200), SpecificTrap(20), EventDescription(200), GenericTrap, Severity);
-- Two operators who make categories at the same time get two numbers.
CREATE TABLE IF NOT EXISTS Category_Number (
  Last_ID INTEGER NOT NULL
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Category_Number SELECT 0 WHERE NOT EXISTS (SELECT * FROM Category_Number);
-- Receivers show that they are alive.
CREATE TABLE IF NOT EXISTS Receiver_Heartbeat (
  Spool_ID VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine  VARCHAR(255) NOT NULL DEFAULT '',
  Beats    INTEGER NOT NULL DEFAULT 0,
  Stopped  INTEGER NOT NULL DEFAULT 0
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- Alerts can be switched off.
CREATE TABLE IF NOT EXISTS Alert_Off (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- The receivers note what became of each alert.
CREATE TABLE IF NOT EXISTS Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
-- Alerts can be tried from the console.
CREATE TABLE IF NOT EXISTS Alert_Test (
  Test_ID       INTEGER AUTO_INCREMENT PRIMARY KEY,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
