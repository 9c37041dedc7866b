-- The embedded trap store, second file (dvldb-traps.db): the traps alone.  The receiver writes this file while
-- the console may hold a change of the categories open in the first one; two files let both go on.
-- The console attaches it on connecting, so EventTrap needs no prefix.

-- AUTOINCREMENT: the number of a purged trap never comes back.
CREATE TABLE EventTrap (
  SequenceNumber   INTEGER PRIMARY KEY AUTOINCREMENT,
  EventTime        INTEGER NOT NULL,
  Source           VARCHAR(255) NOT NULL DEFAULT '',
  EnterpriseOid    VARCHAR(1500) NOT NULL DEFAULT '',
  GenericTrap      INTEGER NOT NULL DEFAULT 6,
  SpecificTrap     INTEGER NOT NULL DEFAULT 0,
  EventDescription TEXT NOT NULL DEFAULT '',
  Event_ExtDescr   TEXT NOT NULL DEFAULT '',
  EventNotes       TEXT NOT NULL DEFAULT '',
  EventAck         INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX EventTrap_Ack_Time ON EventTrap (EventAck, EventTime, SequenceNumber);
CREATE INDEX EventTrap_Time ON EventTrap (EventTime, SequenceNumber);
CREATE INDEX EventTrap_Source_Ack_Time ON EventTrap (Source, EventAck, EventTime);

-- How far each receiver's spool is stored; moved by the receiver together with the rows it adds to EventTrap.
CREATE TABLE Receiver_State (
  Spool_ID    VARCHAR(255) NOT NULL PRIMARY KEY,
  Last_Number BIGINT NOT NULL DEFAULT 0
);

-- Whether each receiver is alive: Beats moves with the rows it stores and every few seconds without any, Stopped
-- is 1 after an ordered end.  The row of a receiver that is gone for good may be deleted.
CREATE TABLE Receiver_Heartbeat (
  Spool_ID VARCHAR(255) NOT NULL PRIMARY KEY,
  Machine  VARCHAR(255) NOT NULL DEFAULT '',
  Beats    INTEGER NOT NULL DEFAULT 0,
  Stopped  INTEGER NOT NULL DEFAULT 0
);

-- What was changed in the store, by whom; written with each change, followed by every console.  Numbers holds
-- sequence numbers as ranges ("3-7,12"); Source and Upper_Time are NULL where they bound nothing.
CREATE TABLE Change_Log (
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
CREATE INDEX Change_Log_Time ON Change_Log (Change_Time);
CREATE INDEX Change_Log_Kind ON Change_Log (Kind, Change_ID);

-- What became of each alert, as the receivers tell it.  Times are UTC seconds, 0: never.
CREATE TABLE Alert_State (
  Trap_Group_ID INTEGER NOT NULL PRIMARY KEY,
  Last_Acted    INTEGER NOT NULL DEFAULT 0,
  Last_Failure  INTEGER NOT NULL DEFAULT 0,
  Reason        TEXT NOT NULL DEFAULT ''
);
-- Alerts that a console wants tried.  The receiver that takes one puts its machine into Taken_By, and what
-- became of it into Result.
CREATE TABLE Alert_Test (
  Test_ID       INTEGER PRIMARY KEY AUTOINCREMENT,
  Trap_Group_ID INTEGER NOT NULL DEFAULT 0,
  Asked_Time    INTEGER NOT NULL DEFAULT 0,
  Operator      VARCHAR(255) NOT NULL DEFAULT '',
  Machine       VARCHAR(255) NOT NULL DEFAULT '',
  Taken_By      VARCHAR(255) NOT NULL DEFAULT '',
  Done          INTEGER NOT NULL DEFAULT 0,
  Result        TEXT NOT NULL DEFAULT ''
);
