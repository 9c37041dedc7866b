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
