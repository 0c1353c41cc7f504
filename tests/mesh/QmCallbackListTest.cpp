#include "mesh/QmCallbackList.h"

#include <gtest/gtest.h>
#include <string>

namespace
{
// Each call appends "<tag><arg>" to the string the data points at.
void recordF(void* data, void* arg)
{
    *static_cast<std::string*>(data) += "f" + std::to_string(*static_cast<int*>(arg));
}

void recordG(void* data, void* arg)
{
    *static_cast<std::string*>(data) += "g" + std::to_string(*static_cast<int*>(arg));
}
} // namespace

TEST(QmCallbackList, UnusedListDoesNothing)
{
    QmCallbackList list;
    std::string log;
    EXPECT_EQ(list.GetNb(), 0);
    EXPECT_FALSE(list.Remove(recordF, &log));
    list.Clear();
    int arg = 1;
    list.Invoke(&arg);
    EXPECT_EQ(list.GetNb(), 0);
}

TEST(QmCallbackList, InvokeRunsLastAddedFirstWithDataThenArg)
{
    QmCallbackList list;
    std::string log;
    list.Add(recordF, &log);
    list.Add(recordG, &log);
    int arg = 7;
    list.Invoke(&arg);
    EXPECT_EQ(log, "g7f7");
}

TEST(QmCallbackList, RemoveMatchesFunctionAndDataOnceFromTheFront)
{
    QmCallbackList list;
    std::string log;
    std::string other;
    list.Add(recordF, &log);
    list.Add(recordF, &log);
    list.Add(recordG, &other);
    EXPECT_EQ(list.GetNb(), 3);
    EXPECT_FALSE(list.Remove(recordF, &other));
    EXPECT_FALSE(list.Remove(recordG, &log));
    EXPECT_TRUE(list.Remove(recordF, &log));
    EXPECT_EQ(list.GetNb(), 2);
    int arg = 1;
    list.Invoke(&arg);
    EXPECT_EQ(log, "f1");
    EXPECT_EQ(other, "g1");
}

TEST(QmCallbackList, ClearKeepsTheListUsable)
{
    QmCallbackList list;
    std::string log;
    list.Add(recordF, &log);
    list.Clear();
    EXPECT_EQ(list.GetNb(), 0);
    int arg = 2;
    list.Invoke(&arg);
    EXPECT_EQ(log, "");
    list.Add(recordG, &log);
    list.Invoke(&arg);
    EXPECT_EQ(log, "g2");
}
