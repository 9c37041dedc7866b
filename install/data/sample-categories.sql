-- Five categories to begin with: they give the everyday notifications a severity.  For an empty store of any engine;
-- severities: 1 Minor, 2 Information, 3 Major, 4 Warning, 5 Critical.
INSERT INTO Category_Group_Master (Category_Name, Category_Desc, Severity, Sort_Order) VALUES
  ('Links', 'Interfaces that go down and come back', 3, 1),
  ('Routing', 'Routing neighbours lost and found', 5, 2),
  ('Power', 'UPS and power over Ethernet', 5, 3),
  ('Access', 'Failed logins to agents', 4, 4),
  ('Restarts', 'Agents that started again', 1, 5);
INSERT INTO Category_Group (Category_Name, Category_ID) VALUES
  ('Links', 1), ('Routing', 2), ('Power', 3), ('Access', 4), ('Restarts', 5);
INSERT INTO Category_Group_Detail (Category_ID, Category_Type, Group_Name) VALUES
  (1, 4, 'Links_Trap'), (2, 4, 'Routing_Trap'), (3, 4, 'Power_Trap'), (4, 4, 'Access_Trap'), (5, 4, 'Restarts_Trap');
INSERT INTO Category_Relation_Master (Category_Name, Related_Category_Name, Category_Relation_Type) VALUES
  ('All Categories', 'Links', 1), ('All Categories', 'Routing', 1), ('All Categories', 'Power', 1),
  ('All Categories', 'Access', 1), ('All Categories', 'Restarts', 1);
INSERT INTO Trap_Group_Master (Trap_Group_Name, Trap_Group_Desc) VALUES
  ('Links_Trap', 'Interfaces that go down and come back'), ('Routing_Trap', 'Routing neighbours lost and found'),
  ('Power_Trap', 'UPS and power over Ethernet'), ('Access_Trap', 'Failed logins to agents'),
  ('Restarts_Trap', 'Agents that started again');
INSERT INTO Trap_Group_Detail (Trap_Table_ID, EnterpriseOid, GenericTrap, SpecificTrap, Severity) VALUES
  (1, '', 2, '0', 3),                         -- linkDown
  (2, '', 3, '0', 2),                         -- linkUp
  (3, '1.3.6.1.2.1.15.7', 6, '2', 5),         -- bgpBackwardTransition
  (4, '1.3.6.1.2.1.15.7', 6, '1', 2),         -- bgpEstablished
  (5, '1.3.6.1.2.1.14.16.2', 6, '2', 4),      -- ospfNbrStateChange
  (6, '1.3.6.1.2.1.33.2', 6, '1', 5),         -- upsTrapOnBattery
  (7, '1.3.6.1.2.1.33.2', 6, '3', 4),         -- upsTrapAlarmEntryAdded
  (8, '1.3.6.1.2.1.105', 6, '1', 1),          -- pethPsePortOnOffNotification
  (9, '', 4, '0', 4),                         -- authenticationFailure
  (10, '', 0, '0', 1),                        -- coldStart
  (11, '', 1, '0', 1);                        -- warmStart
INSERT INTO Trap_Group (Trap_Group_Name, Trap_ID) VALUES
  ('Links_Trap', 1), ('Links_Trap', 2), ('Routing_Trap', 3), ('Routing_Trap', 4), ('Routing_Trap', 5),
  ('Power_Trap', 6), ('Power_Trap', 7), ('Power_Trap', 8), ('Access_Trap', 9), ('Restarts_Trap', 10),
  ('Restarts_Trap', 11);
