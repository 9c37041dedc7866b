-- The store says of which version it is.
CREATE TABLE Store_Info (
  Schema_Version INTEGER NOT NULL
);
INSERT INTO Store_Info VALUES (1);

-- Every change of the store is noted, for the other consoles.
CREATE TABLE @traps@.Change_Log (
  Change_ID   INTEGER PRIMARY KEY AUTOINCREMENT,
  Change_Time INTEGER NOT NULL,
  Kind        INTEGER NOT NULL,
  Operator    VARCHAR(255) NOT NULL DEFAULT '',
  Machine     VARCHAR(255) NOT NULL DEFAULT '',
  Writer      VARCHAR(255) NOT NULL DEFAULT '',
  Source      VARCHAR(255),
  Upper_Time  INTEGER,
  Numbers     TEXT NOT NULL DEFAULT '',
  Row_Count   INTEGER
);
CREATE INDEX @traps@.Change_Log_Time ON Change_Log (Change_Time);
CREATE INDEX @traps@.Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- Categories, their traps and the filters stand in an order that is written down.
ALTER TABLE Category_Group_Master ADD COLUMN Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
ALTER TABLE Trap_Group ADD COLUMN Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
ALTER TABLE Trap_Filter_Group ADD COLUMN Sort_Order INTEGER NOT NULL DEFAULT 2147483647;
UPDATE Category_Group_Master SET Sort_Order = rowid;
UPDATE Trap_Group SET Sort_Order = rowid;
UPDATE Trap_Filter_Group SET Sort_Order = rowid;
CREATE INDEX Category_Group_Master_Order ON Category_Group_Master (Sort_Order, Category_Name);
CREATE INDEX Category_Group_ID ON Category_Group (Category_ID);
CREATE INDEX Trap_Group_Order ON Trap_Group (Trap_Group_Name, Sort_Order, Trap_ID);
CREATE INDEX Trap_Group_Detail_Values ON Trap_Group_Detail
  (Source_Agent, EnterpriseOid, SpecificTrap, EventDescription, GenericTrap, Severity);
-- Receivers show that they are alive.
CREATE TABLE @traps@.Receiver_Heartbeat (
  Spool_ID VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine  VARCHAR(255) NOT NULL DEFAULT '',
  Beats    INTEGER NOT NULL DEFAULT 0,
  Stopped  INTEGER NOT NULL DEFAULT 0
);
-- Alerts can be switched off.
CREATE TABLE Alert_Off (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY
);
-- The receivers note what became of each alert.
CREATE TABLE @traps@.Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
);
-- Alerts can be tried from the console.
CREATE TABLE @traps@.Alert_Test (
  Test_ID       INTEGER PRIMARY KEY AUTOINCREMENT,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
);
