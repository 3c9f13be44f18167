// The directory of containers: registration by identifier, take-over of an id, one step of
// mapping and the container id of an object.
#include "General/Containers/RootContainerBank.h"

#include <gtest/gtest.h>

#include "General/Containers/RootMap.h"
#include "General/Core/StrToID.h"
#include "Support/ContainerItems.h"

namespace {

TEST(RootContainerBank, RegisterTakesTheIdOverAndMappingIsOneStep) {
    TRootContainerBank *bank = GetRootContainerBank();
    ASSERT_EQ(TRootContainerBank::GetBank(), bank);
    const uint32_t id = StrToID("BankTestShared");
    auto *first = new TRootMap;
    TRootMap second;
    first->SetIdentifier("BankTestShared");
    second.SetIdentifier("BankTestShared");
    first->RegisterMe();
    EXPECT_EQ(first->GetContainerID(), id);
    second.RegisterMe();
    EXPECT_EQ(bank->GetContainer(id), &second);
    // The first container's destructor erases the entry by id: the second's.
    delete first;
    EXPECT_EQ(bank->GetContainer(id), nullptr);
    second.RegisterMe();

    TRootMap third;
    third.SetIdentifier("BankTestThird");
    third.RegisterMe();
    bank->SetBankMapping(static_cast<int>(StrToID("BankTestAlias")), static_cast<int>(id));
    bank->SetBankMapping(static_cast<int>(id), static_cast<int>(third.GetContainerID()));
    EXPECT_EQ(bank->GetContainer(StrToID("BankTestAlias")), &second); // not &third
    bank->ClearBankMapping(static_cast<int>(id));
    bank->ClearBankMapping(static_cast<int>(StrToID("BankTestAlias")));
    EXPECT_EQ(bank->GetContainer(id), &second);

    auto *item = vlib::test::MakeItem(1, "");
    EXPECT_EQ(TRootContainerBank::ObjectToContainerID(item), 0xFFFFFFFFul);
    third.AddObject(item);
    EXPECT_EQ(TRootContainerBank::ObjectToContainerID(item), third.GetContainerID());
    TRootContainerBank::MapContainerCallback = [](TRootObject *) -> TRootContainer * {
        return TRootContainerBank::Bank->GetContainer(StrToID("BankTestShared"));
    };
    EXPECT_EQ(TRootContainerBank::ObjectToContainerID(item), id);
    TRootContainerBank::MapContainerCallback = nullptr;
    third.DeRegisterMe();
    second.DeRegisterMe();
}

} // namespace
