#ifndef QUENDRIL_BENCH_CONTENDER_H
#define QUENDRIL_BENCH_CONTENDER_H

#include <memory>
#include <string>
#include <vector>

#include "bench/PlainRecord.h"

// One store of records in one file, as one would use it: opened when it is made, closed with it.
// Nothing is synced to a disk. Every failure is a std::exception.
class Contender {
 public:
  Contender() = default;
  Contender(Contender const&) = delete;
  Contender& operator=(Contender const&) = delete;
  virtual ~Contender() = default;

  // In one transaction.
  virtual void AddAll(std::vector<PlainRecord> const& records) = 0;
  // A record with nothing but its path; the file has it when this returns.
  virtual void AddOne(std::string const& path) = 0;
  // The same, with every record's path read and its container asked for before. A store that does
  // so at each add anyway has no other way.
  virtual void AddOneUnderContract(std::string const& path) { AddOne(path); }
  // Copies all records into a list that takes the place of the one before; their number.
  virtual std::size_t Load() = 0;
  // By path, case ignored.
  virtual bool Find(std::string const& path) = 0;
  // Visits all paths; their number.
  virtual std::size_t Walk() = 0;
};

// How to open the file of each, which is made if there is none, for about `expected` records.
using MakeContender = std::unique_ptr<Contender> (*)(std::string const& file, std::size_t expected);

std::unique_ptr<Contender> MakeQuendril(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeQuendrilEdit(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeFloor(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeUncheckedFloor(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeSqliteWal(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeSqliteRollback(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeLmdb(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeTdb(std::string const& file, std::size_t expected);
std::unique_ptr<Contender> MakeGdbm(std::string const& file, std::size_t expected);

#endif
