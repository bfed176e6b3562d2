// The update client.
#pragma once
