#include "catalogue/ContainerInfoItrMgr.h"

ContainerInfoItrMgr::ContainerInfoItrMgr() = default;

ContainerInfoItrMgr::~ContainerInfoItrMgr() = default;

void ContainerInfoItrMgr::AddItrForThread(unsigned int threadKey) {
  boost::unique_lock<boost::mutex> const lock(m_mutex);
  m_cursors.try_emplace(threadKey);
}

ContainerInfoItrMgr::Cursor& ContainerInfoItrMgr::GetItrForThread(unsigned int threadKey) {
  boost::unique_lock<boost::mutex> const lock(m_mutex);
  return m_cursors.try_emplace(threadKey).first->second;
}

void ContainerInfoItrMgr::RemoveItrForThread(unsigned int threadKey) {
  boost::unique_lock<boost::mutex> const lock(m_mutex);
  m_cursors.erase(threadKey);
}
