-- The store says of which version it is.
CREATE TABLE IF NOT EXISTS Store_Info (
  Schema_Version INTEGER NOT NULL
) ENGINE=InnoDB DEFAULT CHARACTER SET utf8mb4 COLLATE utf8mb4_nopad_bin;
INSERT INTO Store_Info SELECT 1 WHERE NOT EXISTS (SELECT * FROM Store_Info);
