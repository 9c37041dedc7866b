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
