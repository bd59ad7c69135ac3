#include "base/BusObject.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QObject *named(const QString &name, QObject *parent)
{
    auto *const object = new QObject(parent);
    object->setObjectName(name);
    return object;
}

class BusObjectTest : public testing::Test
{
protected:
    BusObjectTest()
    {
        QDBusConnection::systemBus().registerObject(u"/root"_s, &root, QDBusConnection::ExportChildObjects);
        QDBusConnection::systemBus().registerObject(u"/plain"_s, &plain);
        QDBusConnection::systemBus().registerObject(u"/plain/apart"_s, &apart);
    }

    QObject root;
    QObject plain; // exports no children, which leaves room for others below its path
    QObject apart;
    QObject *const high = named(u"high"_s, &root);
    QObject *const deep = named(u"deep"_s, high);
};

TEST_F(BusObjectTest, RegisteredObjectIsFound)
{
    EXPECT_EQ(objectOnBus(u"/root"_s), &root);
}

TEST_F(BusObjectTest, NamedChildIsFoundAtAnyDepth)
{
    EXPECT_EQ(objectOnBus(u"/root/high"_s), high);
    EXPECT_EQ(objectOnBus(u"/root/high/deep"_s), deep);
}

TEST_F(BusObjectTest, LongestRegisteredPrefixCounts)
{
    QObject *const below = named(u"below"_s, &apart);

    EXPECT_EQ(objectOnBus(u"/plain/apart"_s), &apart);
    EXPECT_EQ(objectOnBus(u"/plain/apart/below"_s), below);
}

TEST_F(BusObjectTest, NameIsNotLookedForFurtherDown)
{
    EXPECT_EQ(objectOnBus(u"/root/deep"_s), nullptr);
}

TEST_F(BusObjectTest, NothingIsFoundElsewhere)
{
    for (const QString &path : {u"/nowhere"_s, u"/root/high/deep/er"_s, u"/roo"_s, u"/"_s, u""_s})
        EXPECT_EQ(objectOnBus(path), nullptr) << qPrintable(path);
}

TEST_F(BusObjectTest, ObjectThatHasGoneIsNotFound)
{
    delete high;

    EXPECT_EQ(objectOnBus(u"/root/high"_s), nullptr);
}

TEST_F(BusObjectTest, ObjectOfAnotherClassIsNotFound)
{
    auto *const timer = new QTimer(&root);
    timer->setObjectName(u"timer"_s);

    EXPECT_EQ(objectOnBus<QTimer>(u"/root/timer"_s), timer);
    EXPECT_EQ(objectOnBus<QTimer>(u"/root/high"_s), nullptr);
}

} // namespace
